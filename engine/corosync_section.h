// SPDX-License-Identifier: Apache-2.0
// Reads the part of wispd's file that concerns following Corosync.
#pragma once

#include <string>

#include "cluster/description/toml_reader.h"
#include "engine/engine_settings.h"

namespace wispd {

// `source` is the file's [source]. Reads all settings except the heartbeat. Throws Config_Error.
Corosync_Settings read_corosync_section(const Toml_Reader &root, const Toml_Reader &source,
                                        const std::string &path);

} // namespace wispd
