// SPDX-License-Identifier: Apache-2.0
// Reads the sections of wispd's TOML file for a cluster that Serf agents report.
#pragma once

#include <string>

#include "cluster/description/toml_reader.h"
#include "engine/engine_settings.h"

namespace wispd {

// Reads [source] of type "serf", [[source.agent]] and the cluster: [cluster], [[network]] and [[node]], or only names
// if members are discovered. Throws Config_Error.
Serf_Settings read_serf_section(const Toml_Reader &root, const Toml_Reader &source, const std::string &path);

} // namespace wispd
