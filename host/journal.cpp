// SPDX-License-Identifier: Apache-2.0
#include "host/journal.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

#include "common/printable.h"
#include "host/text.h"

namespace wispd {

namespace {

// One field in the journal's form for values without a line end, which the escaping ensures.
void append(std::string &entry, std::string_view name, std::string_view value) {
    entry += text(name, "=", terminal::printable(value), "\n");
}

} // namespace

bool stderr_is_journal() {
    const char *stream = std::getenv("JOURNAL_STREAM");
    struct stat status {};
    return stream != nullptr && fstat(STDERR_FILENO, &status) == 0 &&
           text(status.st_dev, ":", status.st_ino) == stream;
}

Journal::Journal(std::string path)
    : path_(std::move(path)), socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}

bool Journal::write(Priority priority, std::string_view line, const Log_Fields &fields) const {
    std::string entry;
    append(entry, "MESSAGE", line);
    append(entry, "PRIORITY", std::to_string(priority));
    append(entry, "SYSLOG_IDENTIFIER", "wispd");
    if (!fields.event.empty()) {
        append(entry, "HB_EVENT", fields.event);
    }
    for (std::size_t i = 0; i < std::min(fields.nodes.size(), NODES_MOST); ++i) {
        append(entry, "HB_NODE", std::to_string(fields.nodes[i]));
    }
    if (!fields.failure_id.empty()) {
        append(entry, "HB_FFDC", fields.failure_id);
    }
    if (fields.client_pid != 0) {
        append(entry, "HB_CLIENT_PID", std::to_string(fields.client_pid));
    }
    // Not connected: a journal that starts again is found at the same path.
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path_.copy(address.sun_path, sizeof address.sun_path - 1);
    ssize_t sent;
    do {
        sent = sendto(socket_.get(), entry.data(), entry.size(), MSG_NOSIGNAL,
                      reinterpret_cast<const sockaddr *>(&address), sizeof address);
    } while (sent < 0 && errno == EINTR);
    return sent >= 0;
}

} // namespace wispd
