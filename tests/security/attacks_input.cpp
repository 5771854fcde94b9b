// SPDX-License-Identifier: Apache-2.0
// Attacks through a program's input: from a daemon, from shared memory, from inherited descriptors.
#include <cstring>
#include <filesystem>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

#include "tests/security/attack.h"
#include "tests/security/hostile_bytes.h"

namespace hb_test {
namespace {

constexpr int32_t GET_CONFIGURATION = 201;
constexpr int32_t GET_ROUTE = 211;

unsigned number_of(const std::string &word) {
    return static_cast<unsigned>(std::stoul(word));
}

int listen_at(const std::string &path) {
    const int listening = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (listening < 0 || bind(listening, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        chmod(path.c_str(), 0666) != 0 || listen(listening, 8) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return listening;
}

bool read_whole(int connection, char *into, std::size_t size) {
    while (size > 0) {
        const ssize_t count = read(connection, into, size);
        if (count <= 0) {
            return false;
        }
        into += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

bool write_whole(int connection, const std::string &bytes) {
    return send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

// Returns the kind of the next request; 0 at the end.
int32_t next_request(int connection) {
    int32_t length = 0;
    if (!read_whole(connection, reinterpret_cast<char *>(&length), sizeof length) || length < 12) {
        return 0;
    }
    std::string request(static_cast<std::size_t>(length), '\0');
    int32_t kind = 0;
    if (!read_whole(connection, request.data(), request.size())) {
        return 0;
    }
    std::memcpy(&kind, request.data() + 8, sizeof kind);
    return kind;
}

void serve(int connection, unsigned hops) {
    say("a client is connected");
    for (int32_t kind = next_request(connection); kind != 0; kind = next_request(connection)) {
        if (kind == GET_CONFIGURATION) {
            write_whole(connection, hostile_configuration());
        } else if (kind == GET_ROUTE) {
            write_whole(connection, hostile_route_reply(hops));
        }
    }
    close(connection);
}

int hostile_daemon(const Words &words) {
    const unsigned hops = number_of(words.at(1));
    const int listening = listen_at(words.at(0));
    std::optional<Hostile_Ipc> ipc;
    if (words.at(2) == "segments") {
        ipc.emplace(words[0], static_cast<uint16_t>(hops));
    }
    say("listening");
    for (;;) {
        pollfd ready[2] = {{STDIN_FILENO, POLLIN, 0}, {listening, POLLIN, 0}};
        poll(ready, 2, -1);
        if (ready[0].revents != 0) {
            return 0;
        }
        serve(accept4(listening, nullptr, nullptr, SOCK_CLOEXEC), hops);
    }
}

// Escapes C0 and DEL for JSON; other characters are unchanged.
constexpr char STEERING[] = "\\u001b[2J\\u007f\xc2\x9b"
                            "31m\xe2\x80\xae";

// Replaces wispd's control socket, and sends misleading or endless answers.
int hostile_control(const Words &words) {
    const int listening = listen_at(words.at(0));
    const std::string &how = words.at(1);
    say("listening");
    const int connection = accept4(listening, nullptr, nullptr, SOCK_CLOEXEC);
    char request[4096];
    if (connection < 0 || read(connection, request, sizeof request) <= 0) {
        return refused("accept");
    }
    if (how == "endless") {
        const std::string piece(65536, 'x');
        while (write_whole(connection, piece)) {
        }
    } else if (how == "deep") {
        write_whole(connection, "{\"ok\":true,\"state\":" + std::string(6'000'000, '[') +
                                    std::string(6'000'000, ']') + "}\n");
    } else if (how == "error") {
        write_whole(connection, std::string("{\"ok\":false,\"error\":\"") + STEERING + "\"}\n");
    } else {
        write_whole(connection, std::string("{\"ok\":true,\"state\":{\"cluster\":\"") + STEERING + "\"}}\n");
    }
    close(connection);
    wait_for_end_of_input();
    return 0;
}

int squat(const Words &words) {
    const Hostile_Ipc ipc(words.at(0), static_cast<uint16_t>(number_of(words.at(1))));
    say("made");
    wait_for_end_of_input();
    return 0;
}

// A program started by another one searches for an inherited connection.
int inherited_sockets(const Words &) {
    int found = 0;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const std::string target = std::filesystem::read_symlink(entry.path(), gone).string();
        if (target.starts_with("socket:")) {
            say(entry.path().filename().string() + " is " + target);
            ++found;
        }
    }
    return found > 0 ? 0 : 1;
}

const Add_Attack add_hostile_daemon({"hostile-daemon", "SOCKET HOPS segments|none", hostile_daemon});
const Add_Attack add_hostile_control({"hostile-control", "SOCKET endless|error|state|deep", hostile_control});
const Add_Attack add_squat({"squat", "SOCKET HOPS", squat});
const Add_Attack add_inherited({"inherited-sockets", "", inherited_sockets});

} // namespace
} // namespace hb_test
