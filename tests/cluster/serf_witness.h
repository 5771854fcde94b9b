// SPDX-License-Identifier: Apache-2.0
// The records of one serf_observer for each network of a node, and the events that a daemon beside their agents must
// send for them.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/cluster/history.h"
#include "tests/cluster/witness.h"

namespace hb_test {

// For a cluster that the daemon's file describes: its configuration never changes.
class Serf_Witness : public History {
  public:
    Serf_Witness(unsigned local_node, Told_Configuration configuration, unsigned networks);

    // A line of that network's observer, with numbers instead of names.
    void take(unsigned network, const std::string &line);

    // Whether every agent runs.
    bool engine_runs() const;
    // The members that are up now by the agents' reports. The local node always is.
    std::set<unsigned> nodes() const;
    std::set<unsigned> adapters() const;

    unsigned local_node() const override { return local_node_; }
    std::set<unsigned> all_nodes() const override { return configuration_.nodes; }
    std::set<unsigned> all_adapters() const override;
    Turns turns_of_node(unsigned node, double since, const Patience &patience) const override;
    Turns turns_of_adapter(unsigned adapter, double since, const Patience &patience) const override;
    std::vector<Told_Configuration> configurations(double since, const Patience &patience) const override;
    std::vector<double> ends() const override;

  private:
    // One network is a cluster of its own, in which no node is local.
    struct Network {
        Witness witness;
        std::set<unsigned> alive;
    };

    unsigned local_node_;
    Told_Configuration configuration_;
    std::vector<Network> networks_;
};

} // namespace hb_test
