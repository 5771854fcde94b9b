// SPDX-License-Identifier: Apache-2.0
#include "daemon/cluster_file_writer.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "host/log.h"
#include "host/pinned_file.h"
#include "host/text.h"

namespace wispd {

namespace {

constexpr mode_t READABLE = 0444;
constexpr mode_t OWNER_WRITES = 0600;

std::string failure(const char *what) {
    return text(what, ": ", std::strerror(errno));
}

bool write_all(int file, const std::string &text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = ::write(file, text.data() + done, text.size() - done);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return true;
}

// Any other file may be precious, and stays as it is. Programs that read names reject it.
bool is_from_wispd(const Pinned_File &file) {
    constexpr std::string_view beginning = "{\n \"format\":";
    const Descriptor opened(open(file.path_by_descriptor().c_str(), O_RDONLY | O_CLOEXEC));
    char buffer[beginning.size()];
    const ssize_t count = read(opened.get(), buffer, sizeof buffer);
    return count >= 0 && beginning.starts_with(std::string_view(buffer, static_cast<std::size_t>(count)));
}

// Returns why wispd must not replace what is at the path; empty if it may.
std::string why_foreign(const std::string &path) {
    const Pinned_File old(path);
    if (!old.exists()) {
        return errno == ENOENT ? "" : failure("cannot check it");
    }
    if (S_ISLNK(old.status().st_mode)) {
        return text(path, " is a symbolic link; remove it");
    }
    if (old.status().st_uid != geteuid()) {
        return text(path, " belongs to user ", old.status().st_uid, "; remove it");
    }
    if (!S_ISREG(old.status().st_mode) || !is_from_wispd(old)) {
        return text(path, " exists and wispd did not write it; move it away");
    }
    return "";
}

} // namespace

// A program that may connect may read the names. None may change them.
Cluster_File_Writer::Cluster_File_Writer(const std::string &socket_path, const Access &access)
    : path_(common::cluster_file_path(socket_path)), aside_(path_ + ".new"), group_(access.group),
      mode_((access.socket_mode & READABLE) | OWNER_WRITES) {}

Cluster_File_Writer::~Cluster_File_Writer() {
    remove();
}

void Cluster_File_Writer::write(const common::Cluster_File &content) {
    if (written_ == content) {
        return;
    }
    const std::string why = replace(common::cluster_file_text(content));
    if (why.empty()) {
        written_ = content;
    } else {
        remove();
        if (why != logged_) {
            log_warning(text("cannot write ", path_, ": ", why, "; hbctl shows numbers without names"));
        }
    }
    logged_ = why;
}

std::string Cluster_File_Writer::replace(const std::string &content) const {
    for (const std::string &path : {path_, aside_}) {
        if (std::string why = why_foreign(path); !why.empty()) {
            return why;
        }
    }
    // A wispd that was killed can have left its incomplete file.
    if (unlink(aside_.c_str()) != 0 && errno != ENOENT) {
        return failure("cannot remove the incomplete file of an earlier wispd");
    }
    const Descriptor file(
        open(aside_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, OWNER_WRITES));
    if (file.get() < 0) {
        return failure("cannot create it");
    }
    std::string why = fill(file.get(), content);
    if (why.empty() && rename(aside_.c_str(), path_.c_str()) != 0) {
        why = failure("cannot replace it");
    }
    if (!why.empty()) {
        unlink(aside_.c_str());
    }
    return why;
}

std::string Cluster_File_Writer::fill(int file, const std::string &content) const {
    constexpr auto same_user = static_cast<uid_t>(-1);
    if (group_ != static_cast<gid_t>(-1) && fchown(file, same_user, group_) != 0) {
        return failure("cannot set its group");
    }
    if (fchmod(file, mode_) != 0) {
        return failure("cannot set its mode");
    }
    return write_all(file, content) ? "" : failure("cannot write");
}

void Cluster_File_Writer::remove() {
    if (why_foreign(path_).empty()) {
        unlink(path_.c_str());
    }
    written_.reset();
}

} // namespace wispd
