// SPDX-License-Identifier: Apache-2.0
#include "host/safe_directory.h"

#include <filesystem>
#include <sys/stat.h>
#include <sys/xattr.h>

#include "host/text.h"
#include "host/trusted_user.h"

namespace wispd {

namespace {

namespace fs = std::filesystem;

// The owner of the root directory is as trusted as root, which has no number in some namespaces.
bool may_own(uid_t user) {
    struct stat root {};
    return is_trusted_user(user) || (stat("/", &root) == 0 && user == root.st_uid);
}

// With an access list, the group bits are the upper limit for all listed users and groups.
bool has_access_list(const fs::path &directory) {
    return getxattr(directory.c_str(), "system.posix_acl_access", nullptr, 0) > 0;
}

// Members of root's group are as trusted as root. In a sticky directory, only its owner and the file's owner
// can replace the file.
bool others_can_write(const struct stat &directory, bool has_list) {
    const bool by_group = (directory.st_mode & S_IWGRP) != 0 && (directory.st_gid != 0 || has_list);
    return (by_group || (directory.st_mode & S_IWOTH) != 0) && (directory.st_mode & S_ISVTX) == 0;
}

std::string why_unsafe_itself(const fs::path &directory) {
    struct stat link {};
    if (lstat(directory.c_str(), &link) == 0 && S_ISLNK(link.st_mode) && !may_own(link.st_uid)) {
        return text("the link ", directory.string(), " belongs to user ", link.st_uid);
    }
    struct stat status {};
    if (stat(directory.c_str(), &status) != 0) {
        return {};
    }
    if (!may_own(status.st_uid)) {
        return text("the directory ", directory.string(), " belongs to user ", status.st_uid);
    }
    return others_can_write(status, has_access_list(directory))
               ? text("other users can write to the directory ", directory.string(), ", which is not sticky")
               : std::string();
}

std::string why_unsafe_on_the_way(const fs::path &directory) {
    fs::path part;
    for (const fs::path &name : directory) {
        part /= name;
        if (std::string why = why_unsafe_itself(part); !why.empty()) {
            return why;
        }
    }
    return {};
}

} // namespace

std::string why_unsafe(const std::string &path) {
    const fs::path directory = fs::path(path).parent_path();
    std::string why = why_unsafe_on_the_way(directory);
    std::error_code error;
    const fs::path real = fs::canonical(directory, error);
    return why.empty() && !error ? why_unsafe_on_the_way(real) : why;
}

} // namespace wispd
