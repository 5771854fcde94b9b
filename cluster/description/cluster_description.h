// SPDX-License-Identifier: Apache-2.0
// Reads the sections of a TOML file that describe a cluster. Each function reads its section of the file
// `root`; errors (Config_Error) name `path`. Missing sections get their default values.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cluster/configuration.h"
#include "cluster/description/toml_reader.h"
#include "cluster/keyring.h"
#include "cluster/node_control.h"

namespace wispd {

// Reads [cluster], which is required, and [heartbeat], [[network]] and [[node]].
Configuration read_cluster(const Toml_Reader &root, const std::string &path);

// Reads [[network]] into a cluster with known limits.
void read_networks(const Toml_Reader &root, const std::string &path, Configuration &cluster);
std::optional<Heartbeat> read_heartbeat(const Toml_Reader &root, const std::string &path);
Suspicion_Settings read_suspicion(const Toml_Reader &root, const std::string &path);
Security_Settings read_security(const Toml_Reader &root, const std::string &path);

// Reads [[endpoint]]. Relative paths are relative to the file's directory.
std::vector<Endpoint> read_endpoints(const Toml_Reader &root, const std::string &path,
                                     const Configuration &cluster);

} // namespace wispd
