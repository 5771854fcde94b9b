// SPDX-License-Identifier: Apache-2.0
// The interface through which a follower uses the Corosync engine of this node.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "engine/corosync/corosync_view.h"

namespace wispd {

// What Corosync reported since the last dispatch().
struct Corosync_News {
    bool membership = false;      // a node joined or left
    bool configuration = false;   // a reload succeeded, whether or not it changed anything
    bool reload_rejected = false; // a reload was rejected: the configuration is unchanged
};

// A connection that exists from construction to destruction.
class Corosync {
  public:
    Corosync() = default;
    Corosync(const Corosync &) = delete;
    Corosync &operator=(const Corosync &) = delete;
    virtual ~Corosync() = default;

    // Returns the descriptors to wait on for reading; the connection still owns them.
    virtual std::vector<int> descriptors() const = 0;
    // Reads what is available, without waiting. Throws Engine_Gone, as do all functions below.
    virtual Corosync_News dispatch() = 0;

    virtual Corosync_Configuration configuration() = 0;
    // Returns the members from the last notification, with estimated join counts. Sends no query: Corosync
    // answers slowly while it forms a membership, and reports of deaths and joins must not wait for that.
    virtual Corosync_Members members() = 0;
    // Returns the current members with the join counts that Corosync itself keeps.
    virtual Corosync_Members count_joins() = 0;
    // Returns the state of the links. Must be polled: Corosync's own notification of link changes is late.
    virtual Corosync_Links links(const Corosync_Configuration &of) = 0;
};

// Creates the connection; throws Engine_Gone.
using Corosync_Connect = std::function<std::unique_ptr<Corosync>()>;

} // namespace wispd
