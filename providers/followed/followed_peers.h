// SPDX-License-Identifier: Apache-2.0
// The interface to the programs on other nodes that are peers of this program, for engines that report them.
#pragma once

#include <string>
#include <vector>

#include "engine/engine.h"

namespace mox_followed {

// A change of a node's peer.
struct Peer_Report {
    int node = 0;
    bool up = false;
};

class Followed_Peers {
  public:
    Followed_Peers() = default;
    Followed_Peers(const Followed_Peers &) = delete;
    Followed_Peers &operator=(const Followed_Peers &) = delete;
    virtual ~Followed_Peers() = default;

    // Returns the name of the programs in the events.
    virtual const std::string &name() const = 0;
    // Returns a descriptor that is readable when advance() has work. It stays the same.
    virtual int descriptor() const = 0;
    // Returns the peers that joined or left since the last call, in order. Does not wait. The engine was polled
    // just before.
    virtual std::vector<Peer_Report> advance(wispd::Engine::Time now, const wispd::Engine_Status &engine) = 0;
};

} // namespace mox_followed
