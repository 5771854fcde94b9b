// SPDX-License-Identifier: Apache-2.0
#include "tests/support/temp_dir.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "tests/support/leftovers.h"

namespace hb_test {

std::string Temp_Dir::root() {
    const char *root = std::getenv("TMPDIR");
    return root != nullptr && *root != '\0' ? root : "/tmp";
}

Temp_Dir::Temp_Dir() {
    std::string pattern = root() + "/hbt.XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "mkdtemp " + pattern);
    }
    path_ = pattern;
    note_made(Made::directory, 0, path_);
}

Temp_Dir::~Temp_Dir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
    note_gone(Made::directory, 0, path_);
}

} // namespace hb_test
