// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/serf_cluster.h"

#include <algorithm>
#include <sstream>

namespace hb_test {
namespace {

std::string wispd_name(int node) {
    return "wisp" + std::to_string(node);
}

bool is_up(const std::set<unsigned> &up, const std::set<int> &wanted) {
    return up == unsigned_of(wanted);
}

} // namespace

std::set<unsigned> unsigned_of(const std::set<int> &nodes) {
    std::set<unsigned> numbers;
    for (const int node : nodes) {
        numbers.insert(static_cast<unsigned>(node));
    }
    return numbers;
}

std::string serf_cluster_file(const Serf_Cluster_Plan &plan, int node) {
    std::ostringstream text;
    text << "[cluster]\nname = \"gossip\"\n";
    if (!plan.discover) {
        text << "local_node = " << node << "\nmax_nodes = " << plan.nodes + 1
             << "\nadapters_per_node = " << ADAPTERS_PER_NODE << "\n";
    }
    text << "[source]\ntype = \"serf\"\ndiscover = " << (plan.discover ? "true" : "false")
         << "\ngrace_seconds = " << plan.grace_seconds << "\n";
    for (int network = 0; network < plan.networks; ++network) {
        text << "[[source.agent]]\nnetwork = " << network << "\nrpc = \""
             << Serf_Agents::rpc_address(node, network) << "\"\n";
        if (!plan.agents.auth_key.empty()) {
            text << "auth_key = \"" << plan.agents.auth_key << "\"\n";
        }
    }
    for (int network = 0; !plan.discover && network < plan.networks; ++network) {
        text << "[[network]]\nnumber = " << network << "\nname = \"net" << network << "\"\n";
    }
    for (int one = 1; !plan.discover && one <= plan.nodes; ++one) {
        text << "[[node]]\nnumber = " << one << "\nname = \"" << Serf_Agents::name(one) << "\"\n";
        for (int network = 0; network < plan.networks; ++network) {
            text << "[[node.adapter]]\nnetwork = " << network << "\naddress = \""
                 << Serf_Agents::address(one, network) << "\"\n";
        }
    }
    return text.str();
}

Told_Configuration serf_configuration(const Serf_Cluster_Plan &plan) {
    Told_Configuration told;
    for (int node = 1; node <= plan.nodes; ++node) {
        told.nodes.insert(static_cast<unsigned>(node));
        for (int network = 0; network < plan.networks; ++network) {
            told.addresses[adapter_of(static_cast<unsigned>(node), static_cast<unsigned>(network))] =
                Serf_Agents::address(node, network);
        }
    }
    return told;
}

Serf_Cluster::Serf_Cluster(const Serf_Cluster_Plan &plan)
    : plan_(plan), agents_(plan.nodes, plan.networks, plan.agents) {
    for (const int node : plan_.watched) {
        wispds_.emplace(node,
                        std::make_unique<Wispd_On_Host>(agents_.places(), Serf_Agents::HOST,
                                                        serf_cluster_file(plan_, node), wispd_name(node)));
        witnesses_.emplace(node, Serf_Witness(static_cast<unsigned>(node), serf_configuration(plan_),
                                              static_cast<unsigned>(plan_.networks)));
    }
}

bool Serf_Cluster::start_agents(const Deadline &deadline) {
    agents_.start_all();
    return agents_.wait_all_alive(deadline);
}

bool Serf_Cluster::start_clients(const Deadline &deadline) {
    for (const int node : plan_.watched) {
        for (int network = 0; plan_.observers && network < plan_.networks; ++network) {
            std::vector<std::string> program = {std::string(HB_TEST_BIN_DIR) + "/serf_observer", "--numbers"};
            if (!plan_.agents.auth_key.empty()) {
                program.insert(program.end(), {"--key", plan_.agents.auth_key});
            }
            program.push_back(Serf_Agents::rpc_address(node, network));
            observers_[{node, network}] =
                std::make_unique<Recording>(agents_.places(), Serf_Agents::HOST, program);
            lines_[{node, network}];
        }
        if (const testing::AssertionResult started = wispd(node).start(deadline); !started) {
            return false;
        }
        clients_[node] = std::make_unique<Client_On_Host>(agents_.places(), Serf_Agents::HOST, HB_TEST_BIN_DIR,
                                                          wispd_name(node), true);
    }
    return wait_all_up(deadline);
}

bool Serf_Cluster::collect() {
    bool any = false;
    for (const auto &[key, observer] : observers_) {
        for (const std::string &line : observer->new_lines()) {
            lines_.at(key).push_back(line);
            witnesses_.at(key.first).take(static_cast<unsigned>(key.second), line);
            any = true;
        }
    }
    for (const auto &[node, client] : clients_) {
        const std::size_t before = client->told().size();
        client->collect();
        any = any || client->told().size() != before;
    }
    return any;
}

bool Serf_Cluster::wait_nodes(const std::set<int> &watched, const std::set<int> &up, const Deadline &deadline) {
    return wait_until(
        [&] {
            collect();
            return std::all_of(watched.begin(), watched.end(), [&](int node) {
                const Told_Table &table = client(node).table();
                return table.connected() && is_up(table.nodes(), up);
            });
        },
        deadline);
}

bool Serf_Cluster::agrees(int node) const {
    const Serf_Witness &witness = witnesses_.at(node);
    const Told_Table &table = clients_.at(node)->table();
    return table.connected() && witness.engine_runs() && table.nodes() == witness.nodes() &&
           table.adapters() == witness.adapters();
}

bool Serf_Cluster::has_agents(int node) {
    for (int network = 0; network < plan_.networks; ++network) {
        if (!agents_.running(node, network) || agents_.stopped(node, network)) {
            return false;
        }
    }
    return true;
}

bool Serf_Cluster::wait_agreement(const Deadline &deadline) {
    return wait_until(
        [&] {
            collect();
            return std::all_of(plan_.watched.begin(), plan_.watched.end(),
                               [&](int node) { return !has_agents(node) || agrees(node); });
        },
        deadline);
}

bool Serf_Cluster::wait_all_up(const Deadline &deadline) {
    const std::size_t adapters =
        static_cast<std::size_t>(plan_.nodes) * static_cast<std::size_t>(plan_.networks);
    return wait_until(
        [&] {
            collect();
            return std::all_of(plan_.watched.begin(), plan_.watched.end(), [&](int node) {
                const Told_Table &table = client(node).table();
                return table.connected() && table.nodes().size() == static_cast<std::size_t>(plan_.nodes) &&
                       table.adapters().size() == adapters && (!plan_.observers || agrees(node));
            });
        },
        deadline);
}

Received Serf_Cluster::received(int node, std::size_t mark, Told::Kind kind) const {
    Received all;
    const std::vector<Told> &told = clients_.at(node)->told();
    for (std::size_t i = mark; i < told.size(); ++i) {
        if (!told[i].is(kind, true) || told[i].sequence == 0) {
            continue;
        }
        all.first = all.events == 0 ? told[i].at : all.first;
        all.last = told[i].at;
        ++all.events;
        for (const auto &[member, incarnation] : told[i].members) {
            all.nodes.insert(member);
        }
    }
    return all;
}

// The agent gathers the events of up to three seconds into one, so a member can be alive again before anything was
// reported; the agent's list of members shows it at once.
Patience Serf_Cluster::model_patience() const {
    Patience patience;
    patience.grace = plan_.grace_seconds;
    patience.early = 4;
    return patience;
}

std::vector<std::string> Serf_Cluster::complaints() {
    collect();
    std::vector<std::string> all;
    for (const int node : plan_.watched) {
        const std::string which = "node " + std::to_string(node) + ": ";
        for (const std::string &objection : client(node).table().objections()) {
            all.push_back(which + objection);
        }
        for (const std::string &fault :
             explain(client(node).told(), witnesses_.at(node), model_patience()).faults) {
            all.push_back(which + fault);
        }
    }
    return all;
}

std::string Serf_Cluster::account() {
    collect();
    std::string text = agents_.account();
    for (const int node : plan_.watched) {
        const std::string number = std::to_string(node);
        const Serf_Witness &witness = witnesses_.at(node);
        text += "observer of node " + number + ": nodes " + text_of(witness.nodes()) + ", adapters " +
                text_of(witness.adapters()) + (witness.engine_runs() ? "" : ", not all agents run") + "\n";
        if (clients_.count(node) != 0) {
            const Told_Table &table = client(node).table();
            text += "client of node " + number + ": nodes " + text_of(table.nodes()) + ", adapters " +
                    text_of(table.adapters()) + (table.connected() ? "" : ", not connected") + "\n";
        }
        text += "log of its wispd:\n" + wispd(node).log();
    }
    return text;
}

} // namespace hb_test
