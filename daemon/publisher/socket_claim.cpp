// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/socket_claim.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "daemon/publisher/ipc_users.h"
#include "host/log.h"
#include "host/start_failure.h"
#include "host/text.h"

namespace wispd {

namespace {

// A key contains sixteen bits of the inode. After this many files, every possible key was tried or skipped at
// least once.
constexpr std::size_t PLACEHOLDERS_MOST = 131072;
constexpr int TRIES_BETWEEN = 8;
// Some file systems give inodes in no order, so the gaps between the tries stay small enough for many tries.
constexpr std::size_t SKIPPED_MOST = 512;

// Files that keep their inodes occupied, so that the next socket receives another inode. The destructor removes
// them; after a kill, the next start does.
class Placeholders {
  public:
    explicit Placeholders(const std::string &socket) : prefix_(socket + ".inode.") { remove_old(); }
    Placeholders(const Placeholders &) = delete;
    Placeholders &operator=(const Placeholders &) = delete;
    ~Placeholders() {
        for (std::size_t number = 0; number < made_; ++number) {
            unlink(name(number).c_str());
        }
    }

    std::size_t count() const { return made_; }

    void keep(Socket_File &&socket) {
        Socket_File kept(std::move(socket));
        kept.set_aside(name(made_));
        kept.forget();
        ++made_;
    }
    void add(std::size_t more) {
        for (; more > 0; --more) {
            const Descriptor file(
                open(name(made_).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
            if (file.get() < 0) {
                throw Start_Failure(text("cannot create ", name(made_),
                                         " (one of the files that skip inodes with used IPC keys; ", made_,
                                         " exist): ", std::strerror(errno)));
            }
            ++made_;
        }
    }

  private:
    std::string name(std::size_t number) const { return text(prefix_, number); }

    void remove_old() const {
        const std::filesystem::path prefix(prefix_);
        std::error_code error;
        std::vector<std::filesystem::path> old;
        for (const auto &entry : std::filesystem::directory_iterator(prefix.parent_path(), error)) {
            if (entry.path().filename().string().rfind(prefix.filename().string(), 0) == 0 &&
                is_own(entry.path())) {
                old.push_back(entry.path());
            }
        }
        for (const std::filesystem::path &path : old) {
            unlink(path.c_str());
        }
    }
    static bool is_own(const std::filesystem::path &path) {
        struct stat status {};
        return lstat(path.c_str(), &status) == 0 && status.st_uid == geteuid() &&
               (S_ISSOCK(status.st_mode) || (S_ISREG(status.st_mode) && status.st_size == 0));
    }

    std::string prefix_;
    std::size_t made_ = 0;
};

class Search {
  public:
    Search(const std::string &path, const Access &access, Instance_Lock &lock)
        : path_(path), access_(access), lock_(lock), placeholders_(path) {}

    Claimed_Socket run() {
        for (std::size_t skipped = 1; placeholders_.count() < PLACEHOLDERS_MOST;
             skipped = std::min(skipped * 2, SKIPPED_MOST)) {
            for (int i = 0; i < TRIES_BETWEEN; ++i) {
                if (std::optional<Claimed_Socket> claimed = attempt()) {
                    report();
                    return std::move(*claimed);
                }
            }
            placeholders_.add(skipped);
        }
        throw Start_Failure(text("no inode for ", path_, " has free IPC keys: ", taken_,
                                 " were tried, and segments or semaphores of other programs use their keys",
                                 whose(), "; list them with ipcs, and remove unused ones with ipcrm"));
    }

  private:
    std::optional<Claimed_Socket> attempt() {
        Socket_File file(path_, access_);
        const Ipc_Keys keys = keys_of(path_);
        if (!makers_.any_under(keys.segments, keys.semaphores)) {
            lock_.write({getpid(), keys.segments, keys.semaphores});
            if (std::optional<Shared_Segments> made = Shared_Segments::create(keys, access_)) {
                return Claimed_Socket{std::move(file), std::move(*made)};
            }
        }
        ++taken_;
        placeholders_.keep(std::move(file));
        return std::nullopt;
    }
    void report() const {
        if (taken_ > 0) {
            log_warning(text("the IPC keys of ", taken_, " inodes for ", path_,
                             " are used by segments or semaphores of other programs", whose(),
                             "; using another inode"));
        }
    }
    std::string whose() const {
        const std::optional<uid_t> user = makers_.most_frequent();
        return user ? text(" (most of them created by user ", *user, ")") : std::string();
    }

    const std::string &path_;
    const Access &access_;
    Instance_Lock &lock_;
    Placeholders placeholders_;
    Ipc_Makers makers_;
    std::size_t taken_ = 0;
};

} // namespace

Claimed_Socket claim_socket(const std::string &path, const Access &access, Instance_Lock &lock) {
    return Search(path, access, lock).run();
}

} // namespace wispd
