// SPDX-License-Identifier: Apache-2.0
// Reads a cluster's TOML file for wispd and the cluster services: the cluster, or how to follow an engine.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cluster/configuration.h"
#include "cluster/description/daemon_section.h"
#include "cluster/keyring.h"
#include "cluster/node_control.h"
#include "engine/engine_settings.h"

namespace wispd {

struct Cluster_File {
    Configuration cluster; // only its size is set when it comes from an engine
    std::optional<Engine_Settings> engine;
    Daemon_Section daemon_section;
    Suspicion_Settings suspicion;
    Security_Settings security;
    std::vector<Endpoint> endpoints;
    std::string timeline; // empty: no timeline
};

// Both throw Config_Error. A relative timeline path is relative to the file's directory.
Cluster_File read_cluster_file(const std::string &path);
Cluster_File parse_cluster_file(std::string_view document, const std::string &path);

} // namespace wispd
