// SPDX-License-Identifier: Apache-2.0
#include "cluster/description/named_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "cluster/description/config_error.h"
#include "host/descriptor.h"
#include "host/text.h"
#include "host/trusted_user.h"

namespace wispd {

namespace {

Descriptor open_file(const std::string &path, int flags) {
    Descriptor file(open(path.c_str(), flags | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (file.get() < 0) {
        throw File_Error(text(path, ": cannot be opened: ", std::strerror(errno)));
    }
    return file;
}

std::string octal(mode_t mode) {
    std::string digits;
    for (const int shift : {9, 6, 3, 0}) {
        digits += static_cast<char>('0' + (mode >> shift & 7));
    }
    return digits;
}

// The kernel creates the content of these files on each read, and some block or have side effects then.
bool is_made_by_kernel(int fd) {
    constexpr unsigned long kinds[] = {PROC_SUPER_MAGIC, SYSFS_MAGIC,   CGROUP_SUPER_MAGIC, CGROUP2_SUPER_MAGIC,
                                       TRACEFS_MAGIC,    DEBUGFS_MAGIC, SECURITYFS_MAGIC,   PSTOREFS_MAGIC,
                                       EFIVARFS_MAGIC,   BPF_FS_MAGIC,  BINFMTFS_MAGIC,     SELINUX_MAGIC};
    struct statfs system = {};
    return fstatfs(fd, &system) != 0 || std::find(std::begin(kinds), std::end(kinds),
                                                  static_cast<unsigned long>(system.f_type)) != std::end(kinds);
}

struct stat check(int fd, const std::string &path) {
    struct stat file = {};
    if (fstat(fd, &file) != 0) {
        throw File_Error(text(path, ": cannot be checked: ", std::strerror(errno)));
    }
    if (S_ISLNK(file.st_mode)) {
        throw File_Error(text(path, ": is a symbolic link; name the file it points to"));
    }
    if (!S_ISREG(file.st_mode) || is_made_by_kernel(fd)) {
        throw File_Error(text(path, ": is not a regular file"));
    }
    if (!is_trusted_user(file.st_uid)) {
        throw File_Error(text(path, ": is owned by uid ", file.st_uid, "; expected uid 0 or ", geteuid(),
                              " (wispd's user)"));
    }
    if ((file.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        throw File_Error(text(path, ": has mode ", octal(file.st_mode & 07777),
                              ", so other users can write to it; run chmod go-w"));
    }
    if (static_cast<uint64_t>(file.st_size) > NAMED_FILE_LARGEST) {
        throw File_Error(
            text(path, ": has ", file.st_size, " bytes; at most ", NAMED_FILE_LARGEST, " are permitted"));
    }
    return file;
}

// Reads at most `size` bytes: a file that grows meanwhile is cut off, and one that shrinks ends early.
std::string read_all(int fd, std::size_t size, const std::string &path) {
    std::string content(size, '\0');
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = read(fd, content.data() + done, size - done);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            throw File_Error(text(path, ": cannot be read: ", std::strerror(errno)));
        }
        if (count == 0) {
            break;
        }
        done += static_cast<std::size_t>(count);
    }
    content.resize(done);
    return content;
}

} // namespace

std::string read_named_file(const std::string &path) {
    // Opening a device can have side effects, so the file's type is checked before it is opened for reading.
    const Descriptor place = open_file(path, O_PATH);
    const struct stat expected = check(place.get(), path);
    const Descriptor file = open_file(path, O_RDONLY);
    const struct stat found = check(file.get(), path);
    if (found.st_dev != expected.st_dev || found.st_ino != expected.st_ino) {
        throw File_Error(text(path, ": was replaced while it was opened; try again"));
    }
    return read_all(file.get(), static_cast<std::size_t>(found.st_size), path);
}

} // namespace wispd
