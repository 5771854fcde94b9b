// SPDX-License-Identifier: Apache-2.0
#include "host/log_file.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

#include "host/safe_directory.h"
#include "host/text.h"
#include "host/trusted_user.h"

namespace wispd {

namespace {

constexpr mode_t OTHERS_WRITE = 0022;

[[noreturn]] void refuse(const std::string &path, const std::string &why) {
    throw std::runtime_error(text("cannot log to ", path, ": ", why));
}

Descriptor open_log(const std::string &path) {
    constexpr int flags = O_WRONLY | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    Descriptor made(open(path.c_str(), flags | O_CREAT | O_EXCL, 0600));
    if (made.get() >= 0) {
        fchmod(made.get(), 0640);
        return made;
    }
    Descriptor file(errno == EEXIST ? open(path.c_str(), flags) : -1);
    if (file.get() < 0) {
        refuse(path, errno == ELOOP ? "it is a symbolic link; name the file itself" : std::strerror(errno));
    }
    return file;
}

} // namespace

Log_File::Log_File(const std::string &path) {
    if (const std::string why = why_unsafe(path); !why.empty()) {
        refuse(path, text("another user could replace it: ", why));
    }
    std::error_code error; // ignored: opening the file fails too, and reports why
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
    file_ = open_log(path);
    struct stat status {};
    if (fstat(file_.get(), &status) != 0) {
        refuse(path, std::strerror(errno));
    }
    if (!S_ISREG(status.st_mode) || status.st_nlink > 1) {
        refuse(path, S_ISREG(status.st_mode) ? "it has more than one hard link" : "it is not a regular file");
    }
    if (!is_trusted_user(status.st_uid)) {
        refuse(path, text("it belongs to user ", status.st_uid));
    }
    if ((status.st_mode & OTHERS_WRITE) != 0) {
        fchmod(file_.get(), status.st_mode & 07777 & ~OTHERS_WRITE);
    }
}

std::string Log_File::path_by_descriptor() const {
    return text("/proc/self/fd/", file_.get());
}

} // namespace wispd
