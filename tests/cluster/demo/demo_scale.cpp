// SPDX-License-Identifier: Apache-2.0
// The program of ./demo scale: many real Serf agents in a namespace of this machine, and a wispd with a client on three
// of them. A tenth of the nodes is killed at once and returns, and the network is parted and mended.
#include <cstdio>
#include <functional>
#include <iostream>

#include <CLI/CLI.hpp>

#include "tests/cluster/serf_cluster.h"

namespace {

using namespace hb_test;

constexpr int FAILED = 1;
constexpr int NOT_POSSIBLE = 3;
constexpr std::chrono::seconds PATIENCE{100};

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void say(const std::string &text) {
    std::cout << text << std::endl;
}

std::string in_seconds(double time) {
    char text[40];
    std::snprintf(text, sizeof text, "%.1f s", time);
    return text;
}

// "10, 20, 30 and 12 more".
std::string some_of(const std::set<int> &nodes) {
    constexpr std::size_t most_shown = 6;
    std::string text;
    std::size_t shown = 0;
    for (const int node : nodes) {
        if (shown == most_shown && nodes.size() > most_shown + 1) {
            return text + " and " + std::to_string(nodes.size() - most_shown) + " more";
        }
        text += (text.empty() ? "" : ", ") + std::to_string(node);
        ++shown;
    }
    return text;
}

std::set<int> without(std::set<int> nodes, const std::set<int> &removed) {
    std::erase_if(nodes, [&](int node) { return removed.count(node) != 0; });
    return nodes;
}

class Demonstration {
  public:
    explicit Demonstration(int nodes) : all_(nodes_up_to(nodes)), cluster_(plan(nodes)), began_(now()) {}

    void show() {
        introduce();
        begin();
        kill_a_tenth();
        part_and_mend();
        say("\nThe demo is complete: each client received the death and the return of every node.");
    }

  private:
    // A client on the first, on a middle and on the last node.
    static Serf_Cluster_Plan plan(int nodes) {
        Serf_Cluster_Plan plan;
        plan.nodes = nodes;
        plan.watched = {1, nodes / 2, nodes};
        plan.discover = true;
        plan.observers = false;
        plan.agents.profile = "lan";
        return plan;
    }

    void headline(const std::string &text) const {
        say("\n== " + text + " (" + in_seconds(now() - began_) + " after the start)");
    }

    void introduce() const {
        say("Each of " + std::to_string(all_.size()) +
            " Serf agents has a loopback address in one network namespace of this machine. On nodes " +
            some_of(cluster_.plan().watched) +
            "\na wispd follows the agent of its node and discovers the members. A client of each wispd "
            "receives "
            "events\nthrough libhb_client.so.");
    }

    void begin() {
        headline("The agents start");
        need(cluster_.start_agents(), "the agents' agreement");
        say("   every agent reports " + std::to_string(all_.size()) + " members alive");
        headline("wispd and clients start");
        need(cluster_.start_clients(), "the clients' receipt of all nodes");
        for (const int node : cluster_.plan().watched) {
            say("   the client of node " + std::to_string(node) + " has " +
                std::to_string(cluster_.client(node).table().nodes().size()) + " nodes up");
        }
    }

    void kill_a_tenth() {
        std::set<int> killed;
        for (const int node : all_) {
            if (node % 10 == 3 && cluster_.plan().watched.count(node) == 0) {
                killed.insert(node);
            }
        }
        headline(std::to_string(killed.size()) + " agents are killed at once: nodes " + some_of(killed));
        const std::set<int> living = without(all_, killed);
        follow(
            Told::Kind::death, [&] { cluster_.agents().kill_all(0, killed); }, [&](int) { return living; });
        headline("They start again");
        follow(
            Told::Kind::join,
            [&] {
                for (const int node : killed) {
                    cluster_.agents().start(node, 0);
                }
            },
            [&](int) { return all_; });
    }

    void part_and_mend() {
        if (const std::optional<std::string> reason = why_no_partitions()) {
            say("\nThe network is not parted here: " + *reason);
            return;
        }
        const int middle = static_cast<int>(all_.size()) / 2 - 1;
        const std::set<int> group = nodes_up_to(middle);
        const std::set<int> others = without(all_, group);
        headline("The network is parted: nodes 1 to " + std::to_string(middle) + ", and the others");
        say("   No packet passes between the groups. Each group reports the other nodes down: there is no "
            "quorum.");
        follow(
            Told::Kind::death, [&] { cluster_.agents().part(0, group); },
            [&](int node) { return group.count(node) != 0 ? group : others; });
        headline("The network is mended");
        follow(
            Told::Kind::join, [&] { cluster_.agents().mend(0); }, [&](int) { return all_; });
    }

    // Lets it happen, waits until each client has exactly the nodes up that it must have, and shows its events.
    void follow(Told::Kind kind, const std::function<void()> &happen,
                const std::function<std::set<int>(int)> &up_after) {
        std::map<int, std::size_t> marks;
        for (const int node : cluster_.plan().watched) {
            marks[node] = cluster_.client(node).mark();
        }
        const double begun = now();
        happen();
        say(kind == Told::Kind::death
                ? "   client of   node deaths   in events   first of it   all of it   nodes up"
                : "   client of    node joins   in events   first of it   all of it   nodes up");
        const Deadline deadline(PATIENCE);
        for (const int node : cluster_.plan().watched) {
            need(cluster_.wait_nodes({node}, up_after(node), deadline),
                 "the receipt of all events by every client");
        }
        for (const int node : cluster_.plan().watched) {
            const Received received = cluster_.received(node, marks[node], kind);
            char line[120];
            std::snprintf(line, sizeof line, "   node %-6d %11zu %11u %13s %11s %10zu", node,
                          received.nodes.size(), received.events, in_seconds(received.first - begun).c_str(),
                          in_seconds(received.last - begun).c_str(),
                          cluster_.client(node).table().nodes().size());
            say(line);
        }
    }

    void need(bool happened, const std::string &what) {
        if (!happened) {
            throw std::runtime_error(what + " did not happen in time:\n" + cluster_.account());
        }
    }

    std::set<int> all_;
    Serf_Cluster cluster_;
    double began_;
};

} // namespace

int main(int argc, char **argv) {
    int nodes = 150;
    CLI::App app(
        "Shows clients of wispd in a cluster of many Serf agents, of which a tenth is killed at once, and "
        "whose network is parted and mended.\nExits with 1 when a step failed, with 3 when this machine "
        "cannot run it.");
    app.add_option("--agents", nodes, "number of agents")->check(CLI::Range(20, 500))->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    if (const std::optional<std::string> reason = why_no_agents()) {
        std::cerr << "demo_scale: no agents on this machine: " << *reason << '\n';
        return NOT_POSSIBLE;
    }
    try {
        Demonstration(nodes).show();
        return 0;
    } catch (const std::exception &trouble) {
        std::cerr << "demo_scale: " << trouble.what() << '\n';
        return FAILED;
    }
}
