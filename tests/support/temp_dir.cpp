#include "tests/support/temp_dir.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "tests/support/leftovers.h"

namespace hb_test {

TempDir::TempDir() {
    // Short, since a socket's path has to fit in 107 bytes.
    std::string pattern = "/tmp/hbt.XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "mkdtemp " + pattern);
    }
    path_ = pattern;
    note_made(Made::directory, 0, path_);
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
    note_gone(Made::directory, 0, path_);
}

} // namespace hb_test
