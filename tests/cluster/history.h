// SPDX-License-Identifier: Apache-2.0
// What happened to a cluster by the record of an observer, and the events that a daemon must send for it.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace hb_test {

// The daemon's settings, and how much later than the observer it may be. The last three are generous: they
// decide what belongs together, not what is fast enough.
struct Patience {
    double grace = 10;        // without an engine, until the other nodes are reported dead
    double longest_retry = 5; // between two attempts to reach the engine again
    double late = 5;          // from what the observer saw to the client
    // The observer may be later than the daemon by this much. Corosync's library can wait two seconds for an answer of an
    // engine that has ended, and reports the end only then.
    double early = 3;
    double unseen = 1; // the daemon may miss a member that was up for less than this
    // A member may die this much before the grace ends: the engine's last report may have reached only the daemon.
    double before_grace = 0;
};

// A node or an adapter comes up or dies.
struct Turn {
    double at = 0;
    bool up = false;
    double latest =
        0; // the latest time at which the daemon may learn of it: it must first find the engine again
    bool loose = false; // it may have ended before the daemon found the engine again

    bool operator==(const Turn &) const = default;
};
using Turns = std::vector<Turn>; // up and down alternate; at first everything is down

struct Told_Configuration {
    double at = 0;
    double latest = 0;
    bool loose = false;
    std::set<unsigned> nodes;
    std::map<unsigned, std::string> addresses; // by adapter number
};

class History {
  public:
    virtual ~History() = default;

    virtual unsigned local_node() const = 0;
    // All nodes that were configured at some time.
    virtual std::set<unsigned> all_nodes() const = 0;
    virtual std::set<unsigned> all_adapters() const = 0;
    // The events about them that a daemon had to send if it ran from that time on, or from an engine's end at
    // that time.
    virtual Turns turns_of_node(unsigned node, double since, const Patience &patience) const = 0;
    virtual Turns turns_of_adapter(unsigned adapter, double since, const Patience &patience) const = 0;
    virtual std::vector<Told_Configuration> configurations(double since, const Patience &patience) const = 0;
    // The engines' ends, in order.
    virtual std::vector<double> ends() const = 0;
};

} // namespace hb_test
