// From an engine's cluster to the model's: nodes by their ids, networks by their links.
#ifndef WISPD_ENGINE_TRANSLATION_H
#define WISPD_ENGINE_TRANSLATION_H

#include <map>
#include <stdexcept>
#include <string>

#include "daemon/model/cluster.h"
#include "daemon/model/configuration.h"
#include "daemon/sources/corosync/engine_view.h"

namespace wispd {

// What wispd's own file adds to what the engine knows.
struct Engine_Names {
    std::map<uint32_t, int> nodes;       // node numbers of ids that are none themselves
    std::map<int, std::string> networks; // by link; others are "link" and its number
};

// A node of the engine that has no place in the model: what() names it and says what to do.
class Engine_Refused : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Adapters of a node in every such cluster, so that the numbers stay when a link is added.
inline constexpr int ENGINE_ADAPTERS_PER_NODE = HB_NETWORK_SLOTS;

// The node's number: its id, or what the file says. Throws Engine_Refused.
int node_number(uint32_t id, const Engine_Names &names);

// Nobody is up in it: that is told by liveness. An address that is a host's name is looked up; one that cannot be
// found is none. Throws Engine_Refused.
Configuration translate(const Engine_Configuration &engine, const Engine_Names &names);

// What changed between two looks is told as gone and back. The local node's own adapters are up where its links to
// others are, and where there are no others.
Liveness translate(const Engine_Configuration &engine, const Engine_Names &names, const Engine_Members &members,
                   const Engine_Links &links, const Engine_Members &members_before,
                   const Engine_Links &links_before);

} // namespace wispd

#endif
