// SPDX-License-Identifier: Apache-2.0
#include "tests/system/stream.h"

#include <array>
#include <cerrno>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>

#include "tests/support/deadline.h"

namespace hb_test {
namespace {

[[noreturn]] void fail(const std::string &what) {
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

Stream::Stream(const std::string &path) : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (!socket_ || path.size() >= sizeof address.sun_path) {
        fail("a socket for " + path);
    }
    path.copy(address.sun_path, path.size());
    if (connect(socket_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        fail("connect to " + path);
    }
}

void Stream::send(const char *bytes, std::size_t count) const {
    std::size_t done = 0;
    while (done < count) {
        const ssize_t sent = ::send(socket_.get(), bytes + done, count - done, MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR) {
            fail("send");
        }
        done += sent > 0 ? static_cast<std::size_t>(sent) : 0;
    }
}

void Stream::send(const std::string &text) const {
    send(text.data(), text.size());
}

void Stream::send(const Bytes &bytes) const {
    send(reinterpret_cast<const char *>(bytes.data()), bytes.size());
}

std::string Stream::read_line() const {
    std::string line;
    for (;;) {
        const Bytes byte = read_bytes(1);
        if (byte[0] == '\n') {
            return line;
        }
        line += static_cast<char>(byte[0]);
    }
}

Bytes Stream::read_bytes(std::size_t count) const {
    Bytes bytes;
    bytes.resize(count);
    const Deadline deadline;
    std::size_t done = 0;
    while (done < count) {
        if (!wait_readable(socket_.get(), deadline)) {
            throw std::runtime_error("nothing came to be read");
        }
        const ssize_t got = recv(socket_.get(), bytes.data() + done, count - done, 0);
        if (got == 0) {
            throw std::runtime_error("the connection was closed");
        }
        if (got < 0 && errno != EINTR) {
            fail("recv");
        }
        done += got > 0 ? static_cast<std::size_t>(got) : 0;
    }
    return bytes;
}

Bytes Stream::read_record() const {
    const int length = read_bytes(4).i32_at(0);
    if (length < 0) {
        throw std::runtime_error("a record of negative length");
    }
    return read_bytes(static_cast<std::size_t>(length));
}

bool Stream::wait_closed() const {
    const Deadline deadline;
    std::array<char, 65536> buffer{};
    while (wait_readable(socket_.get(), deadline)) {
        const ssize_t got = recv(socket_.get(), buffer.data(), buffer.size(), 0);
        if (got == 0 || (got < 0 && errno == ECONNRESET)) {
            return true;
        }
    }
    return false;
}

} // namespace hb_test
