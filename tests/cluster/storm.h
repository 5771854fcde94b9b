// SPDX-License-Identifier: Apache-2.0
// Random faults, one after the other, over a whole cluster: links, engines, reloads and wispd itself.
//
// Some faults come while the previous one is still in progress, some after everything has settled. The seed
// decides what happens. When it happens, and so what is possible at that time, also depends on the speed of the
// machine.
//
// No operator may do two things to this engine, and no storm does them. One is to leave hosts that reach each
// other only through a third. The other is to run engines with different node lists. Neither can become one
// membership, and such engines retry without a pause.
#pragma once

#include <string>
#include <vector>

#include "tests/cluster/engine_cluster.h"
#include "tests/cluster/random_faults.h"

namespace hb_test {

class Storm : private Random_Faults {
  public:
    // The cluster must be started. Everything that happens is also written to the stream, if there is one.
    Storm(Engine_Cluster &cluster, unsigned seed, std::ostream *progress = nullptr);
    using Random_Faults::leave_out;

    // Makes that many faults, repairs everything, and compares every client's events with what its engine did.
    Storm_Outcome run(unsigned faults);

  private:
    void pause();
    void collect_for(double seconds);
    bool settle();
    void mend();
    void compare();

    std::vector<Fault> all_faults();
    std::string cut();
    std::string restore();
    std::string flap();
    std::string end_engine(bool kill);
    std::string start_engine();
    std::string bounce_engine();
    std::string remove_node();
    std::string add_node();
    std::string reload_unchanged();
    std::string reload_rejected();
    std::string restart_wispd(bool kill);

    std::vector<int> running() const;
    std::vector<int> removable() const;
    std::vector<int> startable() const;
    std::vector<int> observed() const;
    // Links that are cut, or not cut, and can be changed. Every host that reaches a third must still reach it
    // directly.
    std::vector<std::pair<int, int>> links(bool cut) const;
    bool is_node(int host) const;
    bool all_see_each_other() const;
    bool reload_until_taken();
    bool reload();

    Engine_Cluster &cluster_;
    std::vector<Engine_Node> all_nodes_;
    std::set<std::pair<int, int>> cut_;
};

// A report for people: the faults, the machine, the clients' events and their delays, and whether they were
// correct.
std::string storm_report(const Storm_Outcome &outcome, const Engine_Cluster &cluster, unsigned seed);

} // namespace hb_test
