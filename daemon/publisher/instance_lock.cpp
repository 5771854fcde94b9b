#include "daemon/publisher/instance_lock.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "daemon/start_failure.h"
#include "daemon/text.h"

namespace wispd {

namespace {

std::string read_all(int file) {
    char buffer[512];
    const ssize_t count = pread(file, buffer, sizeof buffer, 0);
    return count > 0 ? std::string(buffer, static_cast<std::size_t>(count)) : std::string();
}

// Whether the path still names the opened file: its last holder removes it when it ends.
bool is_current(int file, const std::string &path) {
    struct stat opened {};
    struct stat named {};
    return fstat(file, &opened) == 0 && lstat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

std::string holder_of(int file) {
    long pid = 0;
    const std::string content = read_all(file);
    return std::sscanf(content.c_str(), "pid %ld", &pid) == 1 ? text("wispd with process id ", pid)
                                                              : std::string("another wispd");
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
    do {
        file_ = Descriptor(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644));
        if (file_.get() < 0) {
            throw Start_Failure(text("cannot open the lock file ", path, ": ", std::strerror(errno)));
        }
        if (flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
            if (errno == EWOULDBLOCK) {
                throw Start_Failure(text(holder_of(file_.get()), " runs there already: it holds ", path,
                                         "; stop it first, or choose another socket path"));
            }
            throw Start_Failure(text("cannot lock ", path, ": ", std::strerror(errno)));
        }
    } while (!is_current(file_.get(), path));
    struct stat status {};
    // A record that somebody else wrote could name what is not ours to remove.
    if (fstat(file_.get(), &status) == 0 && status.st_uid == geteuid()) {
        left_behind_ = parse_record(read_all(file_.get()));
    }
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
