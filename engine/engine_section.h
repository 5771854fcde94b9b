// The part of wispd's file that is about following an engine.
#pragma once

#include <string>

#include "cluster/description/toml_reader.h"
#include "engine/engine_settings.h"

namespace wispd {

// `source` is the file's [source]. Everything but the heartbeat settings. Throws Config_Error.
Engine_Settings read_engine_section(const Toml_Reader &root, const Toml_Reader &source,
                                    const std::string &path);

} // namespace wispd
