// A listening UNIX socket and its file.
#pragma once

#include <string>
#include <sys/types.h>

#include "host/descriptor.h"

namespace wispd {

// Who may use what the daemon makes in the system.
struct Access {
    gid_t group = static_cast<gid_t>(-1); // -1: as the daemon runs
    mode_t socket_mode = 0660;
    mode_t key_mode = 0640;                       // of the segment with the security keys
    gid_t act_group = static_cast<gid_t>(-1);     // may act on the node; -1: no group
    gid_t control_group = static_cast<gid_t>(-1); // may use the control socket; -1: no group
};

// Of the control socket: for the daemon's user alone unless a group may use it.
Access control_access(const Access &access);

// Throws Start_Failure when the path does not fit a socket address.
void check_socket_path(const std::string &path, const std::string &what);

// Makes way for a socket of our own: removes a socket that nobody listens on. Throws Start_Failure when
// somebody does, or when the path is something else than a socket.
void clear_socket_path(const std::string &path);

// A bound socket that does not listen yet, so that nobody can connect before the rest stands. The file goes
// with the object, if it is still the same one.
class Socket_File {
  public:
    Socket_File() = default;
    Socket_File(const std::string &path, const Access &access);
    Socket_File(Socket_File &&other) noexcept;
    Socket_File &operator=(Socket_File &&other) noexcept;
    ~Socket_File();

    void listen();
    // Moves the file away, so that its inode stays taken while another is made in its place.
    void set_aside(const std::string &path);
    // Leaves the file to another owner.
    void forget() { path_.clear(); }
    const std::string &path() const { return path_; }
    // The listening descriptor, given away; the file stays ours.
    int release() { return descriptor_.release(); }

  private:
    void remove();

    Descriptor descriptor_;
    std::string path_; // empty: no file
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

} // namespace wispd
