// SPDX-License-Identifier: Apache-2.0
#include "bench/event_feed.h"

#include <cerrno>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

#include "bench/record_bytes.h"
#include "bench/sample_cluster.h"

namespace {

[[noreturn]] void fail(const std::string &what) {
    throw std::system_error(errno, std::generic_category(), what);
}

sockaddr_un address_of(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

} // namespace

std::vector<char> adapter_record(int kind, int count, Members members) {
    std::vector<char> record;
    append_bytes(record, static_cast<int32_t>(HB_REPLY_HEADER_SIZE + 4 + count * 8));
    append_bytes(record, static_cast<int32_t>(kind));
    record.resize(sizeof(int32_t) + HB_REPLY_HEADER_SIZE, 0);
    append_bytes(record, static_cast<int32_t>(count - 1));
    for (int i = 0; i < count; ++i) {
        const int adapter = members == Members::Of_Whole_Nodes ? i : i * SAMPLE_ADAPTERS_PER_NODE;
        append_bytes(record, Hb_Adapter_Event_Pair{static_cast<Hb_Adapter_Number>(adapter), 17});
    }
    return record;
}

Listener::Listener() : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_un address = address_of(path());
    if (bind(fd_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(fd_.get(), 8) != 0) {
        fail(path());
    }
}

int Listener::accept_one() const {
    const int connection = accept(fd_.get(), nullptr, nullptr);
    if (connection < 0) {
        fail("accept");
    }
    const int room = 1 << 20;
    setsockopt(connection, SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
    return connection;
}

int connect_plainly(const std::string &path) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int size = 32768;
    setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    const sockaddr_un address = address_of(path);
    if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        fail(path);
    }
    return fd;
}

bool feed(int connection, const std::vector<char> &record) {
    return send(connection, record.data(), record.size(), MSG_DONTWAIT | MSG_NOSIGNAL) ==
           static_cast<ssize_t>(record.size());
}
