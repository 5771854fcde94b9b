// The configuration file: the cluster, and how this daemon serves it.
#ifndef WISPD_CLUSTER_FILE_H
#define WISPD_CLUSTER_FILE_H

#include <cstddef>
#include <string>
#include <string_view>

#include <sys/types.h>

#include "daemon/model/configuration.h"
#include "daemon/sources/config_error.h"

namespace wispd {

struct Daemon_Settings {
    std::string socket;  // empty: by the environment
    std::string control; // empty: the socket's path + ".control"
    std::string group;   // empty: the group that the daemon runs as
    mode_t socket_mode = 0660;
    std::size_t client_queue_bytes = 16777216;
    std::string log_file; // empty: the system log
    std::string log_level = "info";

    bool operator==(const Daemon_Settings &) const = default;
};

struct Cluster_File {
    Configuration cluster;
    Daemon_Settings daemon;
    std::string timeline; // empty: none
};

// Both throw Config_Error. A relative timeline is taken to be relative to the file's directory.
Cluster_File read_cluster_file(const std::string &path);
Cluster_File parse_cluster_file(std::string_view document, const std::string &path);

} // namespace wispd

#endif
