// SPDX-License-Identifier: Apache-2.0
#include "exporter/connection_failure.h"

#include <cerrno>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "common/complaint.h"
#include "common/socket_path.h"
#include "hb_error.h"

namespace exporter {
namespace {

// Returns the error number of a connection to the path; 0: it succeeds.
int errno_of_connection(const std::string &path) {
    if (path.size() > common::SOCKET_PATH_LONGEST) {
        return ENAMETOOLONG;
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, path.size());
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0) {
        return errno;
    }
    const int result = connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    const int reason = result == 0 ? 0 : errno;
    close(descriptor);
    return reason;
}

} // namespace

std::string connection_failure(const std::string &path, int error) {
    const int reason = error == HB_ERROR_CONNECT_FAILED ? errno_of_connection(path) : 0;
    switch (reason) {
    case EACCES:
        return "permission denied for the daemon's socket " + path +
               ": set [daemon] group = \"wisp\" in wispd's configuration, and run hb_exporter in that group";
    case ENOENT:
    case ECONNREFUSED:
        return common::no_daemon_line(path);
    default:
        return "cannot use the heartbeat daemon at " + path + ": " + hb_error_text(error) + " (error " +
               std::to_string(error) + ")";
    }
}

} // namespace exporter
