// SPDX-License-Identifier: Apache-2.0
#include "tools/manual/files.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace manual {

std::string read_file(const std::string &path) {
    std::ifstream stream(path);
    std::ostringstream text;
    if (!stream || !(text << stream.rdbuf())) {
        throw std::runtime_error("cannot read " + path);
    }
    return text.str();
}

void write_file(const std::string &path, const std::string &text) {
    std::ofstream stream(path);
    if (!(stream << text) || !stream.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

} // namespace manual
