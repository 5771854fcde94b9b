// SPDX-License-Identifier: Apache-2.0
#include "tests/security/attack_records.h"

#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <vector>

namespace hb_test {
namespace {

constexpr int32_t HEADER = 76;
constexpr int32_t CONFIGURATION_REQUEST = 201;
constexpr int32_t SUBSCRIBE_REQUEST = 209;
constexpr int32_t CONFIGURATION_REPLY = 0;
constexpr std::size_t SUBSCRIPTION_SIZE = 12348;

template <typename Number> std::string bytes_of(Number number) {
    return {reinterpret_cast<const char *>(&number), sizeof number};
}

} // namespace

int connect_to(const std::string &path) {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const bool connected = descriptor >= 0 && connect(descriptor, reinterpret_cast<const sockaddr *>(&address),
                                                      sizeof address) == 0;
    return connected ? descriptor : -1;
}

bool send_all(int socket, const std::string &bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = send(socket, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(count);
    }
    return true;
}

bool read_all(int socket, char *into, std::size_t count) {
    return count == 0 || recv(socket, into, count, MSG_WAITALL) == static_cast<ssize_t>(count);
}

std::string request_record(int32_t kind, const std::string &body) {
    const auto size = static_cast<int32_t>(body.size());
    return bytes_of(HEADER + size) + std::string(8, '\0') + bytes_of(kind) + bytes_of(size) +
           std::string(60, '\0') + body;
}

std::string subscription_record(const std::string &name) {
    constexpr int32_t all_nodes = 1;
    constexpr int32_t death_join_new_group = 7;
    std::string body = bytes_of(all_nodes) + std::string(4, '\0') + bytes_of(death_join_new_group) + name;
    body.resize(SUBSCRIPTION_SIZE);
    return request_record(SUBSCRIBE_REQUEST, body);
}

std::string adapter_record(int32_t kind, int16_t network) {
    return request_record(kind, bytes_of(network));
}

bool answers(int socket) {
    if (!send_all(socket, request_record(CONFIGURATION_REQUEST))) {
        return false;
    }
    int32_t size = 0;
    while (read_all(socket, reinterpret_cast<char *>(&size), sizeof size) && size >= 4) {
        std::vector<char> record(static_cast<std::size_t>(size));
        if (!read_all(socket, record.data(), record.size())) {
            return false;
        }
        int32_t kind = -1;
        std::memcpy(&kind, record.data(), sizeof kind);
        if (kind == CONFIGURATION_REPLY) {
            return true;
        }
    }
    return false;
}

} // namespace hb_test
