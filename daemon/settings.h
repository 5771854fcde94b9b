// SPDX-License-Identifier: Apache-2.0
// The settings of this daemon, as read from the [daemon] table.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <sys/types.h>

#include "cluster/description/control_server.h"
#include "cluster/description/daemon_section.h"
#include "daemon/user_limits.h"
#include "host/socket_file.h"

namespace wispd {

struct Daemon_Settings {
    std::string socket;        // empty: chosen by the environment
    std::string control;       // empty: the socket's path + ".control"
    std::string group;         // empty: the group of the daemon's process
    std::string act_group;     // empty: no group may act on the node
    std::string control_group; // empty: no group may use the control socket
    mode_t socket_mode = Access().socket_mode;
    std::optional<mode_t> key_mode; // empty: 0640, or 0600 if the group cannot connect
    std::size_t client_queue_bytes = 16777216;
    User_Limits users;
    std::chrono::microseconds control_idle = Control_Server::IDLE; // control_idle_seconds
    std::chrono::microseconds shutdown_delay{5000000};             // shutdown_delay_seconds
    std::string log_file;                                          // empty: the system log
    std::string log_level = "info";

    bool operator==(const Daemon_Settings &) const = default;
};

// Returns the settings of the section, with defaults for absent keys.
Daemon_Settings settings_of(const Daemon_Section &section);

} // namespace wispd
