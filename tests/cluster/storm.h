// Faults at random, one after the other, over a whole cluster: links, engines, reloads and wispd itself.
//
// Some come while the one before is still being dealt with, some when all is settled. What happens follows from the
// seed; when it happens, and with it what is possible then, also from how fast the machine is.
//
// Two things no operator may do to this engine, and no storm does: leave hosts that reach each other only by way of a
// third, and engines that run with different node lists. Neither can ever become one membership, and such engines
// try without a pause.
#ifndef HB_TEST_CLUSTER_STORM_H
#define HB_TEST_CLUSTER_STORM_H

#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/cluster/engine_cluster.h"

namespace hb_test {

struct StormOutcome {
    std::map<std::string, unsigned> faults; // by kind
    unsigned hasty = 0;                     // came while the one before was under way
    unsigned settled = 0;                   // came after all was settled
    unsigned agreements = 0;                // times that all clients were compared with their engines
    std::map<std::string, unsigned> events; // that clients were told, by kind
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
    // The cluster has to be started. Whatever happens is also written to the stream, if there is one.
    Storm(EngineCluster &cluster, unsigned seed, std::ostream *progress = nullptr);
    // Without faults whose names begin like this.
    void leave_out(const std::string &kind);

    // Makes that many faults, mends everything, and compares what every client was told with what its engine went
    // through.
    StormOutcome run(unsigned faults);

  private:
    struct Fault {
        std::string kind;
        std::function<bool()> possible;
        std::function<std::string()> make; // tells where
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
    // Those that are, or are not, cut, and can be changed so that whoever reaches a third reaches it directly.
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

    EngineCluster &cluster_;
    std::ostream *progress_;
    std::mt19937 random_;
    std::vector<EngineNode> all_nodes_;
    std::set<std::pair<int, int>> cut_;
    std::vector<Fault> faults_;
    StormOutcome outcome_;
    double began_ = 0;
};

// For people: what was done, on what machine, what clients were told and how fast, and whether it was right.
std::string storm_report(const StormOutcome &outcome, const EngineCluster &cluster, unsigned seed);

} // namespace hb_test

#endif
