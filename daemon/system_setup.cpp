// SPDX-License-Identifier: Apache-2.0
#include "daemon/system_setup.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <grp.h>
#include <optional>
#include <sys/resource.h>
#include <vector>

#include "common/socket_path.h"
#include "host/log.h"
#include "host/safe_directory.h"
#include "host/start_failure.h"
#include "host/text.h"

namespace wispd {

namespace {

constexpr std::size_t GROUP_BUFFER_AT_FIRST = 65536;
constexpr std::size_t GROUP_BUFFER_MOST = std::size_t{64} << 20;
constexpr gid_t NO_GROUP = static_cast<gid_t>(-1);
// Descriptors kept for control connections and the daemon's own files.
constexpr rlim_t RESERVED_DESCRIPTORS = 128;

// A group's entry lists all its members, so it can need a large buffer.
std::optional<gid_t> group_named(const std::string &name) {
    for (std::size_t size = GROUP_BUFFER_AT_FIRST; size <= GROUP_BUFFER_MOST; size *= 4) {
        std::vector<char> buffer(size);
        group entry{};
        group *found = nullptr;
        const int error = getgrnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found);
        if (error != ERANGE) {
            return found != nullptr ? std::optional(found->gr_gid) : std::nullopt;
        }
    }
    throw Start_Failure(text("group \"", name, "\" has too many members; use its number"));
}

std::optional<gid_t> group_numbered(const std::string &written) {
    gid_t number = 0;
    const char *end = written.data() + written.size();
    const auto [stopped, error] = std::from_chars(written.data(), end, number);
    return error == std::errc() && stopped == end && number != NO_GROUP ? std::optional(number) : std::nullopt;
}

// The limit protects programs that use select(). This daemon does not use select() and can raise it.
void raise_descriptor_limit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

// Creates the default directory only. Any other missing directory is more likely a spelling mistake.
void need_directory(const std::string &socket) {
    const std::filesystem::path directory = std::filesystem::path(socket).parent_path();
    std::error_code error;
    if (directory == std::filesystem::path(common::DEFAULT_SOCKET_PATH).parent_path()) {
        std::filesystem::create_directories(directory, error);
        if (error) {
            throw Start_Failure(text("cannot make directory ", directory.string(), ": ", error.message(),
                                     "; start as root, or choose another path with --socket"));
        }
    } else if (!std::filesystem::is_directory(directory, error)) {
        throw Start_Failure(text("directory ", directory.string(),
                                 " does not exist; create it, or choose another path than ", socket));
    }
}

// A user that can replace the socket could listen in the daemon's place.
void need_safe_directory(const std::string &path) {
    if (const std::string why = why_unsafe(path); !why.empty()) {
        throw Start_Failure(text("another user could replace ", path, ": ", why,
                                 "; choose another path, or correct owner and mode"));
    }
}

mode_t key_mode_of(const Daemon_Settings &settings) {
    const bool group_connects = (settings.socket_mode & 0020) != 0;
    return settings.key_mode.value_or(group_connects ? Access().key_mode : 0600);
}

} // namespace

gid_t find_group(const std::string &name, const char *key) {
    if (name.empty()) {
        return NO_GROUP;
    }
    std::optional<gid_t> group = group_named(name);
    if (!group) {
        group = group_numbered(name);
    }
    if (!group) {
        throw Start_Failure(text("group \"", name, "\" does not exist; create it, or set ", key,
                                 " in [daemon] to another group"));
    }
    return *group;
}

Access find_access(const Daemon_Settings &settings) {
    return {find_group(settings.group, "group"), settings.socket_mode, key_mode_of(settings),
            find_group(settings.act_group, "act_group"), find_group(settings.control_group, "control_group")};
}

User_Limits limits_that_fit(User_Limits limits) {
    rlimit descriptors{};
    if (getrlimit(RLIMIT_NOFILE, &descriptors) != 0 || descriptors.rlim_cur == RLIM_INFINITY) {
        return limits;
    }
    const rlim_t reserved = std::min(RESERVED_DESCRIPTORS, descriptors.rlim_cur / 2);
    const auto possible = descriptors.rlim_cur - reserved;
    if (limits.all_connections > possible) {
        log_warning(text("max_connections is ", limits.all_connections, ", but the descriptor limit permits ",
                         possible, " connections; raise LimitNOFILE= in the unit"));
        limits.all_connections = static_cast<std::size_t>(possible);
    }
    return limits;
}

Access prepare_system(const std::string &socket_path, const std::string &control_path,
                      const Daemon_Settings &settings) {
    check_socket_path(socket_path, "socket");
    check_socket_path(control_path, "control socket");
    if (socket_path == control_path) {
        throw Start_Failure(
            text("socket and control socket are both ", socket_path, "; choose another path for one of them"));
    }
    const Access access = find_access(settings);
    if ((access.socket_mode & 0002) != 0 && (access.key_mode & 0004) == 0) {
        log_warning(
            "socket_mode permits every user to connect, but key_mode does not permit every user to read the "
            "security keys, which each client needs; change socket_mode or key_mode");
    }
    for (const std::string &path : {socket_path, control_path}) {
        need_directory(path);
        need_safe_directory(path);
    }
    raise_descriptor_limit();
    return access;
}

} // namespace wispd
