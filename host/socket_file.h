// SPDX-License-Identifier: Apache-2.0
// A listening UNIX socket and its file, with the access rights that clients get.
#pragma once

#include <string>
#include <sys/types.h>

#include "host/descriptor.h"

namespace wispd {

// Access rights to the files and segments that the daemon creates.
struct Access {
    gid_t group = static_cast<gid_t>(-1); // -1: the daemon's own group
    mode_t socket_mode = 0660;
    mode_t key_mode = 0640;                       // mode of the segment with the security keys
    gid_t act_group = static_cast<gid_t>(-1);     // is permitted to act on the node; -1: no group
    gid_t control_group = static_cast<gid_t>(-1); // has access to the control socket; -1: no group
};

// Returns the rights of the control socket: only the daemon's user has access, unless a group is configured.
Access control_access(const Access &access);

// Throws Start_Failure when the path does not fit a socket address.
void check_socket_path(const std::string &path, const std::string &what);

// Removes a socket on which no process listens, to make room for a new one. Throws Start_Failure when a process
// listens on it, or when the path is not a socket.
void clear_socket_path(const std::string &path);

// A bound socket that does not listen yet, so that no client connects before the daemon is ready. The
// destructor removes the file, if it is still the same one.
class Socket_File {
  public:
    Socket_File() = default;
    Socket_File(const std::string &path, const Access &access);
    Socket_File(Socket_File &&other) noexcept;
    Socket_File &operator=(Socket_File &&other) noexcept;
    ~Socket_File();

    void listen();
    // Renames the file, which keeps its inode in use while another socket is created in its place.
    void set_aside(const std::string &path);
    // Leaves the file in place: the destructor does not remove it.
    void forget() { path_.clear(); }
    const std::string &path() const { return path_; }
    // Returns and releases the listening descriptor; this object still owns the file.
    int release() { return descriptor_.release(); }

  private:
    void remove();

    Descriptor descriptor_;
    std::string path_; // empty: no file
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

} // namespace wispd
