// SPDX-License-Identifier: Apache-2.0
#include "tests/protocol/full_listener.h"

#include <cerrno>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>

#include "tests/support/deadline.h"

namespace hb_test {

Full_Listener::Full_Listener() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path_.copy(address.sun_path, sizeof address.sun_path - 1);
    const auto *name = reinterpret_cast<const sockaddr *>(&address);
    listener_.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (bind(listener_.get(), name, sizeof address) != 0 || listen(listener_.get(), 0) != 0) {
        throw std::system_error(errno, std::generic_category(), "listen " + path_);
    }
    for (;;) {
        Unique_Fd filler(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        if (connect(filler.get(), name, sizeof address) != 0) {
            if (errno != EAGAIN) {
                throw std::system_error(errno, std::generic_category(), "connect " + path_);
            }
            return;
        }
        fillers_.push_back(std::move(filler));
    }
}

void Full_Listener::make_room() {
    for (std::size_t i = 0; i < fillers_.size(); ++i) {
        accept_next();
    }
}

Unique_Fd Full_Listener::accept_next() {
    return wait_readable(listener_.get()) ? Unique_Fd(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC))
                                          : Unique_Fd();
}

Unique_Fd Full_Listener::accept_waiting() {
    return wait_readable(listener_.get(), Deadline(std::chrono::milliseconds(0))) ? accept_next() : Unique_Fd();
}

} // namespace hb_test
