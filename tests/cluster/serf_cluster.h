// SPDX-License-Identifier: Apache-2.0
// A whole cluster of Serf agents: some of its nodes have a wispd that follows the node's agents, a client of that
// wispd, and an observer of each agent.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/cluster/explanation.h"
#include "tests/cluster/host_programs.h"
#include "tests/cluster/serf_agents.h"
#include "tests/cluster/serf_witness.h"

namespace hb_test {

struct Serf_Cluster_Plan {
    int nodes = 3;
    int networks = 1;
    std::set<int> watched{1}; // the nodes with a wispd
    bool discover = false;    // otherwise wispd's file describes every node
    int grace_seconds = 10;
    bool observers = true;
    Serf_Settings agents;
};

// wispd's file on that node.
std::string serf_cluster_file(const Serf_Cluster_Plan &plan, int node);
// The configuration that clients must receive of a described cluster.
Told_Configuration serf_configuration(const Serf_Cluster_Plan &plan);

// The node and adapter numbers of these nodes, on these networks.
std::set<unsigned> unsigned_of(const std::set<int> &nodes);

// What a client received since a moment about the death, or the join, of nodes.
struct Received {
    unsigned events = 0;
    std::set<unsigned> nodes;
    double first = 0; // by the monotonic clock
    double last = 0;
};

class Serf_Cluster {
  public:
    explicit Serf_Cluster(const Serf_Cluster_Plan &plan);

    // Starts the agents and waits until all agree.
    bool start_agents(const Deadline &deadline = Deadline());
    // Starts observers, daemons and clients, and waits until every client has everything up.
    bool start_clients(const Deadline &deadline = Deadline());
    bool start(const Deadline &deadline = Deadline()) {
        return start_agents(deadline) && start_clients(deadline);
    }

    const Serf_Cluster_Plan &plan() const { return plan_; }
    Serf_Agents &agents() { return agents_; }
    Wispd_On_Host &wispd(int node) { return *wispds_.at(node); }
    Client_On_Host &client(int node) { return *clients_.at(node); }
    const Serf_Witness &witness(int node) const { return witnesses_.at(node); }
    // The lines of the observer of that agent.
    const std::vector<std::string> &observed(int node, int network) const { return lines_.at({node, network}); }

    // Reads the new lines of clients and observers. Returns whether there were any.
    bool collect();
    // Waits until each watched node's client has exactly these nodes up.
    bool wait_nodes(const std::set<int> &watched, const std::set<int> &up,
                    const Deadline &deadline = Deadline());
    // Returns whether the client of that node agrees with the observers of the same node.
    bool agrees(int node) const;
    bool wait_agreement(const Deadline &deadline = Deadline());
    bool wait_all_up(const Deadline &deadline = Deadline());
    // Returns whether all agents of the node run, and are not stopped.
    bool has_agents(int node);

    // What the client received after the mark of it.
    Received received(int node, std::size_t mark, Told::Kind kind) const;

    std::vector<std::string> complaints();
    Patience model_patience() const;
    // The view of every client, observer and agent, for messages.
    std::string account();

  private:
    Serf_Cluster_Plan plan_;
    Serf_Agents agents_;
    std::map<int, std::unique_ptr<Wispd_On_Host>> wispds_;
    std::map<std::pair<int, int>, std::unique_ptr<Recording>> observers_;
    std::map<std::pair<int, int>, std::vector<std::string>> lines_;
    std::map<int, Serf_Witness> witnesses_;
    std::map<int, std::unique_ptr<Client_On_Host>> clients_;
};

} // namespace hb_test
