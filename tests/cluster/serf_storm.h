// SPDX-License-Identifier: Apache-2.0
// Random faults, one after the other, over a whole cluster of Serf agents: agents, networks and wispd itself.
//
// Some faults come while the previous one is still in progress, some after the clients agree with their agents. The
// seed decides what happens.
#pragma once

#include <string>
#include <vector>

#include "tests/cluster/random_faults.h"
#include "tests/cluster/serf_cluster.h"

namespace hb_test {

class Serf_Storm : private Random_Faults {
  public:
    // The cluster must be started. Everything that happens is also written to the stream, if there is one.
    Serf_Storm(Serf_Cluster &cluster, unsigned seed, std::ostream *progress = nullptr);
    using Random_Faults::leave_out;

    // Makes that many faults, repairs everything, and compares every client's events with what its agents reported.
    Storm_Outcome run(unsigned faults);

  private:
    struct Agent {
        int node;
        int network;
    };
    enum class State { running, stopped, ended };

    std::vector<Fault> all_faults();
    void pause();
    void collect_for(double seconds);
    bool settle();
    void mend_all();
    void compare();

    // Agents in this state; of nodes with a wispd, of the other nodes, or of both.
    enum class Of { watched, others, all };
    std::vector<Agent> agents(State state, Of of);
    State state_of(int node, int network);
    // The nodes with a wispd whose agents answer.
    std::vector<int> followed();
    std::vector<int> networks(bool parted);

    std::string end_agent(bool kill);
    std::string start_agent();
    std::string bounce_agent(Of of);
    std::string stop_agent();
    std::string proceed_agent();
    std::string part_network();
    std::string mend_network();
    std::string restart_wispd(bool kill);

    Serf_Cluster &cluster_;
    bool can_part_;
};

// A report for people.
std::string serf_storm_report(const Storm_Outcome &outcome, const Serf_Cluster &cluster, unsigned seed);

} // namespace hb_test
