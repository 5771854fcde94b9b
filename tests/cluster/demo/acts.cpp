// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/demo/acts.h"

namespace hb_demo {
namespace {

using hb_test::Hosts;

std::set<int> others(int node) {
    std::set<int> nodes = everyone().nodes;
    nodes.erase(node);
    return nodes;
}

std::set<int> adapters_of(const std::set<int> &nodes) {
    std::set<int> adapters;
    for (const int node : nodes) {
        for (int link = 0; link < Stage::LINKS; ++link) {
            adapters.insert(Stage::adapter(node, link));
        }
    }
    return adapters;
}

// The others lose the node's adapter. The host itself reaches no other host over the link, and its own adapter
// has no carrier.
std::map<int, Members> told_of_link(int node, int link) {
    std::map<int, Members> told;
    for (const int host : everyone().nodes) {
        told[host].adapters.insert(Stage::adapter(node, link));
    }
    for (const int other : others(node)) {
        told[node].adapters.insert(Stage::adapter(other, link));
    }
    return told;
}

// The others lose the node. The host itself has no engine and so no knowledge of the others; its own adapters
// are unchanged.
std::map<int, Members> told_of_engine(int node) {
    std::map<int, Members> told;
    for (const int host : others(node)) {
        told[host] = {{node}, adapters_of({node})};
    }
    told[node] = {others(node), adapters_of(others(node))};
    return told;
}

void take_out(std::set<int> &from, const std::set<int> &members) {
    for (const int member : members) {
        from.erase(member);
    }
}

Members up_after(const Act &act, int host) {
    Members up = everyone();
    if (act.told == Told::death) {
        take_out(up.nodes, act.by_host.at(host).nodes);
        take_out(up.adapters, act.by_host.at(host).adapters);
    }
    return up;
}

bool was_told(const Client_View &view, const Members &members, Told what, Time since) {
    return (members.nodes.empty() || view.told_nodes(members.nodes, what, since)) &&
           (members.adapters.empty() || view.told_adapters(members.adapters, what, since));
}

std::optional<std::chrono::milliseconds> delay(std::optional<Time> told, Time begun) {
    return told ? std::optional(*told - begun) : std::nullopt;
}

} // namespace

std::vector<Act> acts() {
    constexpr int CUT = 2;
    constexpr int CUT_LINK = 1;
    constexpr int KILLED = 3;
    return {
        {"The cable between host2 and link1 is cut",
         "host2 detects its own end at once, and then misses the answers of the others on link1. The others\n"
         "miss the answers of host2 alone. link0 keeps working.",
         "link1 of host2 cut", [](Hosts &hosts) { hosts.cut(CUT, CUT_LINK); }, Told::death,
         told_of_link(CUT, CUT_LINK)},
        {"The cable is repaired", "A link works again after two answers.", "link1 of host2 repaired",
         [](Hosts &hosts) { hosts.restore(CUT, CUT_LINK); }, Told::join, told_of_link(CUT, CUT_LINK)},
        {"The engine of host3 is killed with SIGKILL",
         "The others first miss its answers; then the engines decide that node 3 is not a member. On host3\n"
         "wispd waits for its engine (grace_seconds in examples/demo/corosync.toml), then reports all other\n"
         "nodes down.",
         "engine of host3 killed", [](Hosts &hosts) { hosts.kill(KILLED); }, Told::death,
         told_of_engine(KILLED)},
        {"The engine of host3 starts again", "wispd on host3 reconnects to it and reports the changes.",
         "engine of host3 started", [](Hosts &hosts) { hosts.start(KILLED); }, Told::join,
         told_of_engine(KILLED)},
    };
}

Members everyone() {
    Members all;
    for (int host = 1; host <= Stage::HOSTS; ++host) {
        all.nodes.insert(host);
    }
    all.adapters = adapters_of(all.nodes);
    return all;
}

std::vector<Delays> play(Stage &stage, Screen &screen, const Act &act) {
    const Time begun = now();
    screen.headline(act.headline, act.explanation, begun);
    act.happen(stage.hosts());
    stage.play_until("the receipt of all events by every client", [&] {
        for (int host = 1; host <= Stage::HOSTS; ++host) {
            const Client_View &view = stage.view(host);
            if (!was_told(view, act.by_host.at(host), act.told, begun) || view.up() != up_after(act, host)) {
                return false;
            }
        }
        return true;
    });

    const std::string happened = act.told == Told::death ? " died" : " joined";
    Delays adapters{act.short_name, "adapters" + happened, {}};
    Delays nodes{"", "nodes" + happened, {}};
    bool any_node = false;
    for (int host = 1; host <= Stage::HOSTS; ++host) {
        const Members &members = act.by_host.at(host);
        any_node = any_node || !members.nodes.empty();
        adapters.by_host.push_back(
            delay(stage.view(host).told_adapters(members.adapters, act.told, begun), begun));
        nodes.by_host.push_back(delay(stage.view(host).told_nodes(members.nodes, act.told, begun), begun));
    }
    return any_node ? std::vector{adapters, nodes} : std::vector{adapters};
}

} // namespace hb_demo
