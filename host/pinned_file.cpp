// SPDX-License-Identifier: Apache-2.0
#include "host/pinned_file.h"

#include <fcntl.h>
#include <unistd.h>

#include "host/text.h"

namespace wispd {

Pinned_File::Pinned_File(const std::string &path) : file_(open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC)) {
    if (exists() && fstat(file_.get(), &status_) != 0) {
        file_ = Descriptor();
    }
}

bool Pinned_File::is_at(const std::string &path) const {
    struct stat named {};
    return exists() && lstat(path.c_str(), &named) == 0 && named.st_dev == status_.st_dev &&
           named.st_ino == status_.st_ino;
}

bool Pinned_File::set_group(gid_t group) const {
    return group == static_cast<gid_t>(-1) ||
           fchownat(file_.get(), "", static_cast<uid_t>(-1), group, AT_EMPTY_PATH) == 0;
}

// The system does not change the mode of an O_PATH descriptor, but accepts its name under /proc.
bool Pinned_File::set_mode(mode_t mode) const {
    return chmod(path_by_descriptor().c_str(), mode) == 0;
}

std::string Pinned_File::path_by_descriptor() const {
    return text("/proc/self/fd/", file_.get());
}

} // namespace wispd
