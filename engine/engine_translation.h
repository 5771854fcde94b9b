// From an engine's cluster to the model's: nodes by their ids, networks by their links.
#pragma once

#include <set>
#include <stdexcept>
#include <string>

#include "cluster/cluster.h"
#include "cluster/configuration.h"
#include "engine/engine_settings.h"
#include "engine/engine_view.h"

namespace wispd {

// Who and what worked at one time.
struct Engine_Look {
    const Engine_Members &members;
    const Engine_Links &links;
};

// A node of the engine that has no place in the model: what() names it and says what to do.
class Engine_Refused : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The node's number: its id, or what the file says. Throws Engine_Refused.
int node_number(uint32_t id, const Engine_Names &names);

// Nobody is up in it: that is told by liveness. An address that is a host's name is looked up; one that cannot be
// found is none. Throws Engine_Refused.
Configuration translate(const Engine_Configuration &engine, const Engine_Names &names);

// What changed between two looks is told as gone and back. Of the local node's adapters, those on the given links
// are up: an engine has no link to itself.
Liveness translate(const Engine_Configuration &engine, const Engine_Names &names, const Engine_Look &now,
                   const Engine_Look &before, const std::set<int> &local_links);

} // namespace wispd
