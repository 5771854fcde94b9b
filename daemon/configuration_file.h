// SPDX-License-Identifier: Apache-2.0
// Reads wispd's configuration file: the cluster, and the settings of this daemon.
#pragma once

#include <string>
#include <string_view>

#include "daemon/settings.h"
#include "engine/cluster_file.h"

namespace wispd {

struct Configuration_File : Cluster_File {
    Daemon_Settings daemon;
};

// Each function throws Config_Error if the file or document is invalid.
Configuration_File read_configuration_file(const std::string &path);
// Reads a file that a request names.
Configuration_File read_named_configuration_file(const std::string &path);
Configuration_File parse_configuration_file(std::string_view document, const std::string &path);

} // namespace wispd
