// SPDX-License-Identifier: Apache-2.0
// The section [daemon] of a cluster's file, before wispd interprets it. Every reader of such a file checks the
// section, so that wispd and the cluster services accept the same files.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <sys/types.h>

#include "cluster/configuration.h"
#include "cluster/description/toml_reader.h"

namespace wispd {

// A member is empty when the file does not have the key.
struct Daemon_Section {
    std::optional<std::string> socket;
    std::optional<std::string> control;
    std::optional<std::string> group;
    std::optional<std::string> act_group;
    std::optional<std::string> control_group;
    std::optional<mode_t> socket_mode;
    std::optional<mode_t> key_mode;
    std::optional<std::size_t> client_queue_bytes;
    std::optional<std::size_t> max_connections;
    std::optional<std::size_t> user_connections;
    std::optional<std::size_t> user_subscriptions;
    std::optional<std::size_t> user_queue_bytes;
    std::optional<std::chrono::microseconds> control_idle;
    std::optional<std::chrono::microseconds> shutdown_delay;
    std::optional<std::string> log_file;
    std::optional<std::string> log_level; // "debug", "info", "warning" or "error"
};

// Reads and checks the section. `cluster` must come from the same file. Throws Config_Error.
Daemon_Section read_daemon_section(const Toml_Reader &root, const std::string &path,
                                   const Configuration &cluster);

} // namespace wispd
