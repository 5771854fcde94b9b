// SPDX-License-Identifier: Apache-2.0
// The interface to the group of peer programs that the engine reports.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <vector>

namespace mox_corosync {

// The peers, by the engine's node ids.
struct Peers {
    std::set<uint32_t> present;        // nodes with a running peer
    std::set<uint32_t> left_with_node; // nodes that died together with their peer
};

class Peer_Group {
  public:
    Peer_Group() = default;
    Peer_Group(const Peer_Group &) = delete;
    Peer_Group &operator=(const Peer_Group &) = delete;
    virtual ~Peer_Group() = default;

    // Returns a descriptor that is readable when dispatch() has work.
    virtual int descriptor() const = 0;
    // Returns one entry for each change since the last call, in order. The first entry describes the group at
    // joining. Does not wait. Throws wispd::Engine_Gone.
    virtual std::vector<Peers> dispatch() = 0;
};

// Joins the group. Throws wispd::Engine_Gone.
using Peer_Join = std::function<std::unique_ptr<Peer_Group>()>;

} // namespace mox_corosync
