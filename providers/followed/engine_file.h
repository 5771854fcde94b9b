// SPDX-License-Identifier: Apache-2.0
// Reads how to follow an engine from wispd's own file.
#pragma once

#include <stdexcept>
#include <string>
#include <variant>

#include "engine/cluster_file.h"
#include "host/paths.h"
#include "host/text.h"

namespace mox_followed {

// Returns the settings of a file whose source is this engine. A relative path is relative to the working directory.
// Throws std::runtime_error.
template <typename Settings>
Settings read_engine_settings(const std::string &path, const wispd::Engine_Name &engine) {
    const wispd::Cluster_File file = wispd::read_cluster_file(wispd::absolute_path(path));
    const auto *settings = file.engine ? std::get_if<Settings>(&*file.engine) : nullptr;
    if (settings == nullptr) {
        throw std::runtime_error(wispd::text(path, ": does not name ", engine.title,
                                             " as the source; expected a file with [source] type = \"",
                                             engine.type, "\""));
    }
    return *settings;
}

} // namespace mox_followed
