// SPDX-License-Identifier: Apache-2.0
#include "host/socket_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

#include "common/socket_path.h"
#include "host/pinned_file.h"
#include "host/start_failure.h"
#include "host/text.h"

namespace wispd {

namespace {

// Limits new files to the owner until their group and mode are set.
class Private_Umask {
  public:
    Private_Umask() : before_(umask(0177)) {}
    Private_Umask(const Private_Umask &) = delete;
    Private_Umask &operator=(const Private_Umask &) = delete;
    ~Private_Umask() { umask(before_); }

  private:
    mode_t before_;
};

[[noreturn]] void fail(const std::string &what, const std::string &path) {
    const char *advice = errno == EACCES && geteuid() != 0 ? " (is wispd root?)" : "";
    throw Start_Failure(text(what, " ", path, ": ", std::strerror(errno), advice));
}

sockaddr_un address_of(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

Descriptor make_socket(const std::string &path) {
    Descriptor made(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (made.get() < 0) {
        fail("cannot create a socket for", path);
    }
    return made;
}

void give_to_clients(const Pinned_File &file, const std::string &path, const Access &access) {
    if (!file.set_group(access.group)) {
        fail("cannot set the group of", path);
    }
    if (!file.set_mode(access.socket_mode)) {
        fail("cannot set the mode of", path);
    }
    if (!file.is_at(path)) {
        throw Start_Failure(text("another process replaced the socket file ", path));
    }
}

} // namespace

Access control_access(const Access &access) {
    constexpr gid_t none = static_cast<gid_t>(-1);
    return {access.control_group, static_cast<mode_t>(access.control_group == none ? 0600 : 0660)};
}

void check_socket_path(const std::string &path, const std::string &what) {
    if (path.size() > common::SOCKET_PATH_LONGEST) {
        throw Start_Failure(text("the ", what, " path has ", path.size(),
                                 " bytes, but a socket address holds at most ", common::SOCKET_PATH_LONGEST,
                                 ": ", path));
    }
}

void clear_socket_path(const std::string &path) {
    const Pinned_File old(path);
    if (!old.exists()) {
        if (errno == ENOENT) {
            return;
        }
        fail("cannot check", path);
    }
    if (!S_ISSOCK(old.status().st_mode)) {
        throw Start_Failure(text(path, " exists and is not a socket; remove it or choose another path"));
    }
    const Descriptor probe = make_socket(path);
    // Connects through the descriptor: the probed socket is the removed one, even when the path changes.
    const sockaddr_un address = address_of(old.path_by_descriptor());
    const int connected = connect(probe.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address);
    // A full backlog (EAGAIN) also means that a process listens.
    if (connected == 0 || errno == EAGAIN) {
        throw Start_Failure(text("another process listens on ", path, "; stop it, or choose another path"));
    }
    if (errno != ECONNREFUSED) {
        fail("cannot find out which process listens on", path);
    }
    if (!old.is_at(path) || (unlink(path.c_str()) != 0 && errno != ENOENT)) {
        fail("cannot remove the old socket", path);
    }
}

Socket_File::Socket_File(const std::string &path, const Access &access) : descriptor_(make_socket(path)) {
    const sockaddr_un address = address_of(path);
    {
        const Private_Umask guard;
        if (bind(descriptor_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
            fail("cannot bind", path);
        }
    }
    const Pinned_File file(path);
    if (!file.exists()) {
        fail("cannot check", path);
    }
    if (!S_ISSOCK(file.status().st_mode) || file.status().st_uid != geteuid()) {
        throw Start_Failure(text("another process replaced the socket file ", path));
    }
    path_ = path;
    device_ = file.status().st_dev;
    inode_ = file.status().st_ino;
    // Clean up here: a constructor that throws runs no destructor.
    try {
        give_to_clients(file, path, access);
    } catch (...) {
        remove();
        throw;
    }
}

Socket_File::Socket_File(Socket_File &&other) noexcept
    : descriptor_(std::move(other.descriptor_)), path_(std::exchange(other.path_, {})), device_(other.device_),
      inode_(other.inode_) {}

Socket_File &Socket_File::operator=(Socket_File &&other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    std::swap(path_, other.path_);
    std::swap(device_, other.device_);
    std::swap(inode_, other.inode_);
    return *this;
}

Socket_File::~Socket_File() {
    remove();
}

void Socket_File::remove() {
    struct stat status {};
    if (!path_.empty() && lstat(path_.c_str(), &status) == 0 && status.st_dev == device_ &&
        status.st_ino == inode_) {
        unlink(path_.c_str());
    }
    path_.clear();
}

void Socket_File::listen() {
    if (::listen(descriptor_.get(), SOMAXCONN) != 0) {
        fail("cannot listen on", path_);
    }
}

void Socket_File::set_aside(const std::string &path) {
    if (rename(path_.c_str(), path.c_str()) != 0) {
        fail("cannot move aside", path_);
    }
    path_ = path;
}

} // namespace wispd
