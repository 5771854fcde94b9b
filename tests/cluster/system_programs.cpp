// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/system_programs.h"

#include <cstdlib>
#include <sstream>
#include <unistd.h>

namespace hb_test {
namespace {

std::string system_path() {
    const char *path = std::getenv("PATH");
    return std::string("/usr/local/sbin:/usr/sbin:/sbin:") + (path != nullptr ? path : "/usr/bin:/bin");
}

bool can_be_found(const std::string &program) {
    std::istringstream directories(system_path());
    for (std::string directory; std::getline(directories, directory, ':');) {
        if (access((directory + "/" + program).c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

} // namespace

Child_Process::Environment with_system_path() {
    return {{"PATH", system_path()}};
}

std::optional<std::string> missing_program(const std::vector<std::string> &programs) {
    for (const std::string &program : programs) {
        if (!can_be_found(program)) {
            return program;
        }
    }
    return std::nullopt;
}

} // namespace hb_test
