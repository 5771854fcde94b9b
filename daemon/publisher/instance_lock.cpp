// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/instance_lock.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "daemon/publisher/lock_holder.h"
#include "host/log.h"
#include "host/start_failure.h"
#include "host/text.h"
#include "host/trusted_user.h"

namespace wispd {

namespace {

constexpr int ATTEMPTS = 16;

std::string read_all(int file) {
    char buffer[512];
    const ssize_t count = pread(file, buffer, sizeof buffer, 0);
    return count > 0 ? std::string(buffer, static_cast<std::size_t>(count)) : std::string();
}

// Returns true if the path still names the opened file. The last holder removes its file when it stops.
bool is_current(int file, const std::string &path) {
    struct stat opened {};
    struct stat named {};
    return fstat(file, &opened) == 0 && lstat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

bool is_lock_text(const std::string &content) {
    return content.empty() || parse_record(content);
}

// Throws unless the file is a lock file of wispd. Other files are never written or removed.
void need_own_lock(int file, const std::string &path) {
    struct stat status {};
    if (fstat(file, &status) != 0) {
        throw Start_Failure(text("cannot check the lock file ", path, ": ", std::strerror(errno)));
    }
    if (!is_trusted_user(status.st_uid)) {
        throw Start_Failure(text("the lock file ", path, " belongs to user ", status.st_uid,
                                 "; remove it, or choose another socket path"));
    }
    if (S_ISREG(status.st_mode) && status.st_nlink > 1) {
        throw Start_Failure(text("the lock file ", path, " has ", status.st_nlink,
                                 " names (hard links); remove it, and set fs.protected_hardlinks to 1"));
    }
    if (!S_ISREG(status.st_mode) || !is_lock_text(read_all(file))) {
        throw Start_Failure(text(path,
                                 " exists and is not a lock file of wispd; move it away, or choose another "
                                 "socket path"));
    }
}

// Any account that can read a file can lock it. Earlier versions made the file readable by everybody.
void make_private(int file, const std::string &path) {
    if (fchmod(file, 0600) != 0) {
        throw Start_Failure(text("cannot set the mode of the lock file ", path, ": ", std::strerror(errno)));
    }
}

[[noreturn]] void refuse(const std::string &holder, const std::string &path) {
    throw Start_Failure(
        text(holder, " is running already: it holds ", path, "; stop it, or choose another socket path"));
}

// Removes the path's entry if it is the opened file. If another wispd has replaced the entry meanwhile, its
// file is restored.
void remove_entry(int file, const std::string &path) {
    const std::string aside = text(path, ".", getpid());
    if (renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, aside.c_str(), RENAME_NOREPLACE) != 0) {
        if (errno == ENOENT) {
            return;
        }
        throw Start_Failure(
            text("cannot move the lock file ", path, " to ", aside, ": ", std::strerror(errno)));
    }
    if (!is_current(file, aside)) {
        [[maybe_unused]] const int restored = link(aside.c_str(), path.c_str());
    }
    unlink(aside.c_str());
}

// Replaces a file that other processes have locked. Throws if one of them may be wispd; other processes must
// not prevent the start.
void replace_lock(int file, const std::string &path) {
    const std::vector<Lock_Holder> holders = lock_holders(file);
    if (holders.empty()) {
        refuse("another wispd, in a process hidden from this one,", path);
    }
    for (const Lock_Holder &holder : holders) {
        if (holder.may_be_wispd()) {
            const bool by_name = holder.command == "wispd";
            refuse(by_name ? text("wispd with process id ", holder.pid) : description(holder), path);
        }
    }
    remove_entry(file, path);
    log_warning(text("the lock file ", path, " was held by ", description(holders.front()),
                     ", which cannot be wispd; replacing it"));
}

} // namespace

std::string format_record(const Ipc_Record &record) {
    char buffer[160];
    std::snprintf(buffer, sizeof buffer,
                  "pid %ld\nsegments 0x%08" PRIx32 " 0x%08" PRIx32 " 0x%08" PRIx32 "\nsemaphores 0x%08" PRIx32
                  "\n",
                  static_cast<long>(record.pid), static_cast<uint32_t>(record.segment_keys[0]),
                  static_cast<uint32_t>(record.segment_keys[1]), static_cast<uint32_t>(record.segment_keys[2]),
                  static_cast<uint32_t>(record.semaphore_key));
    return buffer;
}

std::optional<Ipc_Record> parse_record(const std::string &text) {
    long pid = 0;
    uint32_t keys[4] = {};
    int end = 0;
    const int found = std::sscanf(text.c_str(),
                                  "pid %ld\nsegments 0x%8" SCNx32 " 0x%8" SCNx32 " 0x%8" SCNx32
                                  "\nsemaphores 0x%8" SCNx32 "%n",
                                  &pid, &keys[0], &keys[1], &keys[2], &keys[3], &end);
    if (found != 5 || pid <= 0 || text.substr(static_cast<std::size_t>(end)) != "\n") {
        return std::nullopt;
    }
    Ipc_Record record;
    record.pid = static_cast<pid_t>(pid);
    for (std::size_t i = 0; i < record.segment_keys.size(); ++i) {
        record.segment_keys[i] = static_cast<int32_t>(keys[i]);
    }
    record.semaphore_key = static_cast<int32_t>(keys[3]);
    return record;
}

Instance_Lock::Instance_Lock(const std::string &path) : path_(path) {
    for (int attempt = 0; !attempt_to_lock(); ++attempt) {
        if (attempt == ATTEMPTS) {
            throw Start_Failure(text("cannot lock ", path, ": another process keeps replacing it"));
        }
    }
    note_left_behind();
}

void Instance_Lock::note_left_behind() {
    struct stat status {};
    // A record that another user wrote could name segments that this wispd must not remove.
    if (!left_behind_ && fstat(file_.get(), &status) == 0 && status.st_uid == geteuid()) {
        left_behind_ = parse_record(read_all(file_.get()));
    }
}

// Returns false if the path now names another file.
bool Instance_Lock::attempt_to_lock() {
    constexpr int flags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    file_ = Descriptor(open(path_.c_str(), flags, 0600));
    if (file_.get() < 0) {
        throw Start_Failure(text("cannot open the lock file ", path_, ": ", std::strerror(errno)));
    }
    need_own_lock(file_.get(), path_);
    make_private(file_.get(), path_);
    if (flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK) {
            throw Start_Failure(text("cannot lock ", path_, ": ", std::strerror(errno)));
        }
        replace_lock(file_.get(), path_);
        // The holder of the lock could read the record, but not write it.
        note_left_behind();
        return false;
    }
    return is_current(file_.get(), path_);
}

Instance_Lock::~Instance_Lock() {
    if (is_current(file_.get(), path_)) {
        unlink(path_.c_str());
    }
}

void Instance_Lock::write(const Ipc_Record &record) {
    const std::string content = format_record(record);
    if (pwrite(file_.get(), content.data(), content.size(), 0) != static_cast<ssize_t>(content.size()) ||
        ftruncate(file_.get(), static_cast<off_t>(content.size())) != 0) {
        throw Start_Failure(text("cannot write the lock file ", path_, ": ", std::strerror(errno)));
    }
}

} // namespace wispd
