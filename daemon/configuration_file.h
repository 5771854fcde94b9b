// wispd's configuration file: the cluster's file, and how this daemon serves it.
#pragma once

#include <string>
#include <string_view>

#include "daemon/settings.h"
#include "engine/cluster_file.h"

namespace wispd {

struct Configuration_File : Cluster_File {
    Daemon_Settings daemon;
};

// All throw Config_Error.
Configuration_File read_configuration_file(const std::string &path);
Configuration_File read_named_configuration_file(const std::string &path); // one that a request names
Configuration_File parse_configuration_file(std::string_view document, const std::string &path);

} // namespace wispd
