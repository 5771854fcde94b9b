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

#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/cluster/engine_cluster.h"

namespace hb_test {

struct Storm_Outcome {
    std::map<std::string, unsigned> faults; // by kind
    unsigned hasty = 0;                     // came while the previous one was in progress
    unsigned settled = 0;                   // came after everything had settled
    unsigned agreements = 0;                // times that all clients were compared with their engines
    std::map<std::string, unsigned> events; // received by clients, by kind
    std::map<std::string, std::vector<double>> delays;
    unsigned connections = 0;
    unsigned explained = 0;
    unsigned passed_over = 0;
    double seconds = 0;
    std::vector<std::string> history; // a line for each fault
    std::vector<std::string> complaints;

    bool good() const { return complaints.empty(); }
};

class Storm {
  public:
    // The cluster must be started. Everything that happens is also written to the stream, if there is one.
    Storm(Engine_Cluster &cluster, unsigned seed, std::ostream *progress = nullptr);
    // Excludes faults whose names begin like this.
    void leave_out(const std::string &kind);

    // Makes that many faults, repairs everything, and compares every client's events with what its engine did.
    Storm_Outcome run(unsigned faults);

  private:
    struct Fault {
        std::string kind;
        std::function<bool()> possible;
        std::function<std::string()> make; // returns where
        double weight;
    };

    void make_one();
    void complain(const std::string &complaint);
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

    template <typename Item> Item one_of(const std::vector<Item> &items) {
        return items[std::uniform_int_distribution<std::size_t>(0, items.size() - 1)(random_)];
    }
    double between(double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(random_);
    }

    Engine_Cluster &cluster_;
    std::ostream *progress_;
    std::mt19937 random_;
    std::vector<Engine_Node> all_nodes_;
    std::set<std::pair<int, int>> cut_;
    std::vector<Fault> faults_;
    Storm_Outcome outcome_;
    double began_ = 0;
};

// A report for people: the faults, the machine, the clients' events and their delays, and whether they were
// correct.
std::string storm_report(const Storm_Outcome &outcome, const Engine_Cluster &cluster, unsigned seed);

} // namespace hb_test
