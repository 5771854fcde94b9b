// SPDX-License-Identifier: Apache-2.0
// A storm: a changing cluster, a client that reads in any order, and the replay that checks both.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/environment_guard.h"
#include "tests/unit/replay_storm/client.h"
#include "tests/unit/replay_storm/daemon_side.h"
#include "tests/unit/replay_storm/replay.h"
#include "tests/unit/replay_storm/world.h"

namespace hb_test::replay_storm {

// The parts of a storm.
struct Plan {
    std::string name;
    std::function<std::unique_ptr<World>()> make_world;
    // The client starts with a daemon whose adapter numbers allow this many adapters a node. Empty: without a
    // daemon.
    std::optional<unsigned> daemon_places;
    std::vector<Weight> weights;
    int steps_of_a_life = 0; // steps in one process
    // Whether to check nodes whose state is unknown at the migration, because the daemon's last configuration
    // sent none. Such a plan is run only by its name.
    bool counts_unknown_nodes = false;
};

// Only one in a process: the library cannot return to a daemon.
class Storm {
  public:
    explicit Storm(const Plan &plan);
    Storm(const Storm &) = delete;
    Storm &operator=(const Storm &) = delete;

    // Throws Violation.
    void open();
    void step(const Step &step);
    // The last lines of the storm's log.
    std::string story() const;

  private:
    void note(const std::string &line);
    void world_moved();
    bool read(int descriptor);
    void read_some(const Step &step);
    void drain(bool replayed = true);
    void take(const Taken &taken);
    void settle(bool anew);
    void compare();
    void follow();
    void message(const Step &step);
    bool prepare(bool abort_when_refused);
    void commit();
    void abort();
    void restart();
    void return_to_events();
    void fail_query(const Step &step);
    int failures() const;

    bool counts_unknown_nodes_;
    std::optional<Environment_Guard> no_daemon_;
    std::unique_ptr<World> world_;
    std::unique_ptr<Daemon_Side> daemon_;
    Client client_;
    Replay replay_;
    bool moved_ = false;        // to cluster-event mode
    bool has_handlers_ = false; // also if the preparation that created them failed
    bool prepared_ = false;     // and not committed yet
    bool was_away_ = false;     // no handlers existed for a while: only a commit repairs that
    bool watching_ = false;     // handlers exist, in cluster-event mode
    int failures_repaired_ = 0;
    std::deque<std::string> story_;
};

} // namespace hb_test::replay_storm
