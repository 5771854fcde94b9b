// SPDX-License-Identifier: Apache-2.0
#include "bench/bare_server.h"

#include <csignal>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using hb_test::Bytes;

namespace {

[[noreturn]] void serve(const Listener &listener, const Bytes &request, const Bytes &answer) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::vector<char> buffer(request.size());
    for (;;) {
        const int connection = listener.accept_one();
        try {
            read_all(connection, buffer.data(), request.size());
            write_all(connection, answer.data(), answer.size());
            char rest = 0;
            while (read(connection, &rest, 1) > 0) {
            }
        } catch (const std::runtime_error &) { // the client has disconnected
        }
        close(connection);
    }
}

} // namespace

void write_all(int fd, const void *bytes, std::size_t count) {
    const char *from = static_cast<const char *>(bytes);
    while (count > 0) {
        const ssize_t written = send(fd, from, count, MSG_NOSIGNAL);
        if (written <= 0) {
            throw std::runtime_error("a bare connection does not accept bytes");
        }
        from += written;
        count -= static_cast<std::size_t>(written);
    }
}

void read_all(int fd, void *bytes, std::size_t count) {
    char *to = static_cast<char *>(bytes);
    while (count > 0) {
        const ssize_t arrived = read(fd, to, count);
        if (arrived <= 0) {
            throw std::runtime_error("a bare connection ended early");
        }
        to += arrived;
        count -= static_cast<std::size_t>(arrived);
    }
}

Bare_Server::Bare_Server(const Bytes &request, const Bytes &answer) : pid_(fork()) {
    if (pid_ < 0) {
        throw std::runtime_error("no process for a bare server");
    }
    if (pid_ == 0) {
        serve(listener_, request, answer);
    }
}

Bare_Server::~Bare_Server() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
}
