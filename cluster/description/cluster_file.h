// The configuration file: the cluster, and how this daemon serves it.
#ifndef WISPD_CLUSTER_FILE_H
#define WISPD_CLUSTER_FILE_H

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "cluster/configuration.h"
#include "cluster/description/config_error.h"
#include "cluster/keyring.h"
#include "cluster/node_control.h"
#include "daemon/user_limits.h"
#include "engine/engine_settings.h"

namespace wispd {

struct Daemon_Settings {
    std::string socket;        // empty: by the environment
    std::string control;       // empty: the socket's path + ".control"
    std::string group;         // empty: the group that the daemon runs as
    std::string act_group;     // empty: no group may act on the node
    std::string control_group; // empty: no group may use the control socket
    mode_t socket_mode = 0660;
    std::optional<mode_t> key_mode; // empty: 0640, or 0600 where the group cannot connect either
    std::size_t client_queue_bytes = 16777216;
    User_Limits users;
    std::chrono::microseconds control_idle{60000000};
    std::chrono::microseconds shutdown_delay{5000000};
    std::string log_file; // empty: the system log
    std::string log_level = "info";

    bool operator==(const Daemon_Settings &) const = default;
};

struct Cluster_File {
    Configuration cluster; // where an engine tells the cluster, only its size
    std::optional<Engine_Settings> engine;
    Daemon_Settings daemon;
    Suspicion_Settings suspicion;
    Security_Settings security;
    std::vector<Endpoint> endpoints;
    std::string timeline; // empty: none
};

// All throw Config_Error. A relative timeline is taken to be relative to the file's directory.
Cluster_File read_cluster_file(const std::string &path);
Cluster_File read_named_cluster_file(const std::string &path); // one that a request names
Cluster_File parse_cluster_file(std::string_view document, const std::string &path);

} // namespace wispd

#endif
