// SPDX-License-Identifier: Apache-2.0
// The interface through which a follower uses the Corosync engine of this node.
#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

#include "engine/engine_view.h"

namespace wispd {

// The error when Corosync is not running, has stopped, or does not respond. The connection is then unusable.
class Engine_Gone : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// What Corosync reported since the last dispatch().
struct Engine_News {
    bool membership = false;      // a node joined or left
    bool configuration = false;   // a reload succeeded, whether or not it changed anything
    bool reload_rejected = false; // a reload was rejected: the configuration is unchanged
};

// A connection that exists from construction to destruction.
class Engine {
  public:
    Engine() = default;
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;
    virtual ~Engine() = default;

    // Returns the descriptors to wait on for reading; the connection still owns them.
    virtual std::vector<int> descriptors() const = 0;
    // Reads what is available, without waiting. Throws Engine_Gone, as do all functions below.
    virtual Engine_News dispatch() = 0;

    virtual Engine_Configuration configuration() = 0;
    // Returns the members from the last notification, with estimated join counts. Sends no query: Corosync
    // answers slowly while it forms a membership, and reports of deaths and joins must not wait for that.
    virtual Engine_Members members() = 0;
    // Returns the current members with the join counts that Corosync itself keeps.
    virtual Engine_Members count_joins() = 0;
    // Returns the state of the links. Must be polled: Corosync's own notification of link changes is late.
    virtual Engine_Links links(const Engine_Configuration &of) = 0;
};

// Creates the connection; throws Engine_Gone.
using Engine_Connect = std::function<std::unique_ptr<Engine>()>;

} // namespace wispd
