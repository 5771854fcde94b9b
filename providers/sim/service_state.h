// SPDX-License-Identifier: Apache-2.0
// Formats the state of the simulated service as a line of JSON.
#pragma once

#include <cstddef>
#include <string>

#include "providers/service/picture.h"

namespace mox_sim {

struct Service_State {
    const std::string &cluster;
    int local_node;
    const mox_service::Picture &picture;
    int monitors_opened;
    std::size_t timeline_size;
    std::size_t timeline_played;
};

// Returns {"ok":true,"state":{...}} without a newline.
std::string state_line(const Service_State &state);

} // namespace mox_sim
