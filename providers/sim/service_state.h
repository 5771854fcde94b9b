// What the simulated service knows, for people, as a line of JSON.
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

// {"ok":true,"state":{...}}, without the line's end.
std::string state_line(const Service_State &state);

} // namespace mox_sim
