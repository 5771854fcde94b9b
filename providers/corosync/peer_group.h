// The programs of the cluster that are each other's peers, as the engine tells of them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <vector>

namespace mox_corosync {

// By the engine's node ids.
struct Peers {
    std::set<uint32_t> present;        // nodes that have one
    std::set<uint32_t> gone_with_node; // whose node has gone, not it alone
};

class Peer_Group {
  public:
    Peer_Group() = default;
    Peer_Group(const Peer_Group &) = delete;
    Peer_Group &operator=(const Peer_Group &) = delete;
    virtual ~Peer_Group() = default;

    // To be waited on for reading.
    virtual int descriptor() const = 0;
    // One for each change since the last call, in order; the first is how it was found. Does not wait. Throws
    // wispd::Engine_Gone.
    virtual std::vector<Peers> dispatch() = 0;
};

// Joins it; throws wispd::Engine_Gone.
using Peer_Join = std::function<std::unique_ptr<Peer_Group>()>;

} // namespace mox_corosync
