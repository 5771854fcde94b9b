// SPDX-License-Identifier: Apache-2.0
#include "bench/engine_messages.h"

#include <array>
#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/uio.h>

namespace {

constexpr std::size_t MESSAGE_BYTES = 64;
constexpr int PATIENCE_MILLISECONDS = 10000;

void need(cs_error_t result, const char *what) {
    if (result != CS_OK) {
        throw std::runtime_error(std::string(what) + ": " + cs_strerror(result));
    }
}

} // namespace

void Engine_Messages::deliver(cpg_handle_t handle, const cpg_name *, uint32_t, uint32_t, void *,
                              size_t length) {
    void *context = nullptr;
    if (cpg_context_get(handle, &context) == CS_OK && length == MESSAGE_BYTES) {
        ++static_cast<Engine_Messages *>(context)->delivered_;
    }
}

Engine_Messages::Engine_Messages() {
    cpg_callbacks_t callbacks{deliver, nullptr};
    need(cpg_initialize(&handle_, &callbacks), "cpg_initialize");
    need(cpg_context_set(handle_, this), "cpg_context_set");
    need(cpg_fd_get(handle_, &descriptor_), "cpg_fd_get");
    cpg_name group{};
    std::strcpy(group.value, "hb_peer_bench");
    group.length = static_cast<uint32_t>(std::strlen(group.value));
    need(cpg_join(handle_, &group), "cpg_join");
    wait(); // for the report of the join
}

Engine_Messages::~Engine_Messages() {
    cpg_finalize(handle_);
}

bool Engine_Messages::send() {
    std::array<char, MESSAGE_BYTES> bytes{};
    const iovec message{bytes.data(), bytes.size()};
    const cs_error_t result = cpg_mcast_joined(handle_, CPG_TYPE_AGREED, &message, 1);
    if (result == CS_ERR_TRY_AGAIN) {
        return false;
    }
    need(result, "cpg_mcast_joined");
    return true;
}

void Engine_Messages::wait() {
    pollfd readable{descriptor_, POLLIN, 0};
    if (poll(&readable, 1, PATIENCE_MILLISECONDS) != 1) {
        throw std::runtime_error("Corosync delivers no message");
    }
    need(cpg_dispatch(handle_, CS_DISPATCH_ALL), "cpg_dispatch");
}

void Engine_Messages::one() {
    const int before = delivered_;
    while (!send()) {
    }
    while (delivered_ == before) {
        wait();
    }
}

void Engine_Messages::pipelined(int messages) {
    const int end = delivered_ + messages;
    for (int sent = 0; delivered_ < end;) {
        while (sent < messages && send()) {
            ++sent;
        }
        wait();
    }
}
