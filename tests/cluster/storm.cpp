// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/storm.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ostream>
#include <poll.h>

namespace hb_test {
namespace {

// A neighbour's death is reported two token times after its last sign of life, with no event in between.
constexpr double QUIET_WHEN_SETTLED = 2.8;
constexpr double LONGEST_HASTE = 1.5;
constexpr double SHARE_OF_HASTE = 0.55;
constexpr int MILLISECONDS_BETWEEN_LOOKS = 10;

std::string host_text(int host) {
    return "host " + std::to_string(host);
}

// Checks that every host that reaches a third host through a second one also reaches it directly.
bool nobody_is_between(const std::set<std::pair<int, int>> &cut, const Hosts &hosts) {
    const auto reach = [&](int one, int other) {
        for (int link = 0; link < hosts.links(); ++link) {
            if (cut.count({one, link}) == 0 && cut.count({other, link}) == 0) {
                return true;
            }
        }
        return false;
    };
    for (int one = 1; one <= hosts.count(); ++one) {
        for (int two = 1; two <= hosts.count(); ++two) {
            for (int three = 1; three <= hosts.count(); ++three) {
                const bool different = one != two && two != three && one != three;
                if (different && reach(one, two) && reach(two, three) && !reach(one, three)) {
                    return false;
                }
            }
        }
    }
    return true;
}

std::string link_text(const std::pair<int, int> &link) {
    return host_text(link.first) + " link " + std::to_string(link.second);
}

} // namespace

Storm::Storm(Engine_Cluster &cluster, unsigned seed, std::ostream *progress)
    : Random_Faults(seed, progress), cluster_(cluster), all_nodes_(cluster.hosts().nodes()) {
    faults_ = all_faults();
}

// Faults and repairs have about the same weight, so that about half of everything is broken at any time.
std::vector<Storm::Fault> Storm::all_faults() {
    const auto any_running = [this] { return !running().empty(); };
    return {
        {"link cut", [this] { return !links(false).empty(); }, [this] { return cut(); }, 18},
        {"link restored", [this] { return !links(true).empty(); }, [this] { return restore(); }, 20},
        {"link cut and restored at once", [this] { return !links(false).empty(); }, [this] { return flap(); },
         8},
        {"engine killed", [this] { return running().size() > 1; }, [this] { return end_engine(true); }, 10},
        {"engine stopped in good order", [this] { return running().size() > 1; },
         [this] { return end_engine(false); }, 6},
        {"engine started", [this] { return !startable().empty(); }, [this] { return start_engine(); }, 22},
        {"engine killed and started at once", any_running, [this] { return bounce_engine(); }, 6},
        {"reload that removes a node", [this] { return !removable().empty() && !running().empty(); },
         [this] { return remove_node(); }, 6},
        {"reload that adds a node",
         [this] { return cluster_.hosts().nodes().size() < all_nodes_.size() && all_see_each_other(); },
         [this] { return add_node(); }, 12},
        {"reload without a change", any_running, [this] { return reload_unchanged(); }, 3},
        {"reload that is rejected", any_running, [this] { return reload_rejected(); }, 4},
        {"wispd restarted", [this] { return !observed().empty(); }, [this] { return restart_wispd(false); }, 6},
        {"wispd killed and started", [this] { return !observed().empty(); },
         [this] { return restart_wispd(true); }, 6},
    };
}

Storm_Outcome Storm::run(unsigned faults) {
    began_ = now();
    for (unsigned i = 0; i < faults && outcome_.good(); ++i) {
        make_one();
        pause();
    }
    mend();
    compare();
    outcome_.seconds = now() - began_;
    return outcome_;
}

// ---- Between faults ----

void Storm::pause() {
    if (between(0, 1) < SHARE_OF_HASTE) {
        ++outcome_.hasty;
        collect_for(between(0, LONGEST_HASTE));
        return;
    }
    ++outcome_.settled;
    if (!settle()) {
        complain("the clients do not come to what their engines have:\n" + cluster_.account());
    }
}

void Storm::collect_for(double seconds) {
    for (const double until = now() + seconds; now() < until;) {
        cluster_.collect();
        poll(nullptr, 0, MILLISECONDS_BETWEEN_LOOKS);
    }
}

// Waits until nothing has happened for a while and every client agrees with its engine.
bool Storm::settle() {
    double last_news = now();
    const bool settled = wait_until([&] {
        poll(nullptr, 0, MILLISECONDS_BETWEEN_LOOKS);
        if (cluster_.collect()) {
            last_news = now();
        }
        return now() - last_news > QUIET_WHEN_SETTLED &&
               cluster_.wait_agreement(Deadline(std::chrono::milliseconds(0)));
    });
    outcome_.agreements += settled ? 1 : 0;
    return settled;
}

void Storm::mend() {
    for (const auto &[host, link] : cut_) {
        cluster_.hosts().restore(host, link);
    }
    cut_.clear();
    if (cluster_.hosts().nodes().size() != all_nodes_.size()) {
        wait_until([this] {
            cluster_.collect();
            return all_see_each_other();
        });
        cluster_.hosts().set_nodes(all_nodes_);
        reload_until_taken();
    }
    for (int host = 1; host <= cluster_.hosts().count(); ++host) {
        if (!cluster_.hosts().running(host)) {
            cluster_.hosts().start(host);
        }
    }
    // Hosts that were unreachable while the others reloaded still have the old configuration.
    const bool all_up =
        cluster_.hosts().wait_quorum() && reload_until_taken() && cluster_.wait_all_up() && settle();
    if (!all_up) {
        complain("after all was mended not everybody is up:\n" + cluster_.account());
    }
}

// ---- The result ----

void Storm::compare() {
    Hosts &hosts = cluster_.hosts();
    for (const std::string &complaint : cluster_.complaints(cluster_.model_patience())) {
        complain(complaint);
    }
    for (int host = 1; host <= hosts.count(); ++host) {
        Client_On_Host &client = cluster_.client(host);
        // The engine's own tools are the final authority. The client program's own table is compared with them.
        const std::optional<Engine_View> view = hosts.view(host);
        if (!view || view->members != client.table().nodes()) {
            complain(client.account() + "; the engine's tool tells otherwise:\n" + hosts.account());
        }
        for (int peer = 1; peer <= hosts.count(); ++peer) {
            for (int link = 0; peer != host && link < hosts.links(); ++link) {
                const unsigned adapter = adapter_of(hosts.node_of(peer).id, static_cast<unsigned>(link));
                if (hosts.reaches(host, peer, link) != (client.table().adapters().count(adapter) != 0)) {
                    complain(client.account() + "; the engine's tool tells otherwise of adapter " +
                             std::to_string(adapter));
                }
            }
        }
        std::string table = "nodes " + text_of(client.table().nodes()) + " adapters";
        for (const auto &[adapter, incarnation] : client.table().incarnations()) {
            table += " " + std::to_string(adapter) + "@" + std::to_string(incarnation);
        }
        if (const std::string own = client.own_table(); own != table) {
            complain(host_text(host) + ": the client's own table is " + own + ", not " + table);
        }
        const Explanation explanation =
            explain(client.told(), cluster_.observer(host).witness(), cluster_.model_patience());
        count(client.told(), explanation);
    }
}

// ---- Possible targets ----

bool Storm::is_node(int host) const {
    const std::vector<Engine_Node> &nodes = cluster_.hosts().nodes();
    return std::any_of(nodes.begin(), nodes.end(),
                       [&](const Engine_Node &node) { return node.id == static_cast<unsigned>(host); });
}

std::vector<int> Storm::running() const {
    std::vector<int> hosts;
    for (int host = 1; host <= cluster_.hosts().count(); ++host) {
        if (cluster_.hosts().running(host)) {
            hosts.push_back(host);
        }
    }
    return hosts;
}

std::vector<int> Storm::startable() const {
    std::vector<int> hosts;
    for (int host = 1; host <= cluster_.hosts().count(); ++host) {
        if (!cluster_.hosts().running(host) && is_node(host)) {
            hosts.push_back(host);
        }
    }
    return hosts;
}

// The engine of a host that is removed from the configuration was ended before.
std::vector<int> Storm::removable() const {
    return cluster_.hosts().nodes().size() > 2 ? startable() : std::vector<int>();
}

// wispd is started only where its engine answers.
std::vector<int> Storm::observed() const {
    std::vector<int> hosts = running();
    std::erase_if(hosts, [&](int host) { return !cluster_.observer(host).witness().engine_runs(); });
    return hosts;
}

std::vector<std::pair<int, int>> Storm::links(bool cut) const {
    std::vector<std::pair<int, int>> found;
    for (int host = 1; host <= cluster_.hosts().count(); ++host) {
        for (int link = 0; link < cluster_.hosts().links(); ++link) {
            std::set<std::pair<int, int>> then = cut_;
            const bool is_cut = then.erase({host, link}) != 0;
            if (!is_cut) {
                then.emplace(host, link);
            }
            if (is_cut == cut && nobody_is_between(then, cluster_.hosts())) {
                found.emplace_back(host, link);
            }
        }
    }
    return found;
}

bool Storm::all_see_each_other() const {
    std::set<unsigned> nodes;
    for (const int host : running()) {
        nodes.insert(static_cast<unsigned>(host));
    }
    return !nodes.empty() && std::all_of(nodes.begin(), nodes.end(), [&](unsigned host) {
        const Witness &witness = cluster_.observer(static_cast<int>(host)).witness();
        return witness.engine_runs() && witness.nodes() == nodes;
    });
}

// ---- The faults ----

std::string Storm::cut() {
    const std::pair<int, int> link = one_of(links(false));
    cluster_.hosts().cut(link.first, link.second);
    cut_.insert(link);
    return link_text(link);
}

std::string Storm::restore() {
    const std::pair<int, int> link = one_of(links(true));
    cluster_.hosts().restore(link.first, link.second);
    cut_.erase(link);
    return link_text(link);
}

std::string Storm::flap() {
    const std::pair<int, int> link = one_of(links(false));
    cluster_.hosts().cut(link.first, link.second);
    collect_for(between(0.2, 1.2));
    cluster_.hosts().restore(link.first, link.second);
    return link_text(link);
}

std::string Storm::end_engine(bool kill) {
    const int host = one_of(running());
    kill ? cluster_.hosts().kill(host) : cluster_.hosts().stop(host);
    return host_text(host);
}

std::string Storm::start_engine() {
    const int host = one_of(startable());
    cluster_.hosts().start(host);
    return host_text(host);
}

std::string Storm::bounce_engine() {
    const int host = one_of(running());
    cluster_.hosts().kill(host);
    cluster_.hosts().start(host);
    return host_text(host);
}

bool Storm::reload() {
    return cluster_.hosts().reload(one_of(running())).accepted;
}

// An engine rejects a reload while its membership changes.
bool Storm::reload_until_taken() {
    const bool taken = wait_until([this] {
        cluster_.collect();
        return reload();
    });
    if (!taken) {
        complain("no engine takes the reload");
    }
    return taken;
}

std::string Storm::remove_node() {
    const int host = one_of(removable());
    std::vector<Engine_Node> nodes = cluster_.hosts().nodes();
    std::erase_if(nodes, [&](const Engine_Node &node) { return node.id == static_cast<unsigned>(host); });
    cluster_.hosts().set_nodes(nodes);
    return host_text(host) + (reload_until_taken() ? "" : ", not taken");
}

std::string Storm::add_node() {
    std::vector<Engine_Node> missing = all_nodes_;
    std::erase_if(missing, [&](const Engine_Node &node) { return is_node(static_cast<int>(node.id)); });
    const Engine_Node added = one_of(missing);
    std::vector<Engine_Node> nodes = cluster_.hosts().nodes();
    nodes.push_back(added);
    std::sort(nodes.begin(), nodes.end(),
              [](const Engine_Node &one, const Engine_Node &other) { return one.id < other.id; });
    cluster_.hosts().set_nodes(nodes);
    return host_text(static_cast<int>(added.id)) + (reload_until_taken() ? "" : ", not taken");
}

std::string Storm::reload_unchanged() {
    return reload() ? "taken" : "not taken";
}

// The address of a link does not change while an engine runs.
std::string Storm::reload_rejected() {
    const std::vector<Engine_Node> nodes = cluster_.hosts().nodes();
    std::vector<Engine_Node> moved = nodes;
    moved[0].addresses[0] = "10.91.0.200";
    cluster_.hosts().set_nodes(moved);
    const bool taken = reload();
    cluster_.hosts().set_nodes(nodes);
    return taken ? "taken" : "rejected";
}

std::string Storm::restart_wispd(bool kill) {
    const int host = one_of(observed());
    Wispd_On_Host &wispd = cluster_.wispd(host);
    if (kill) {
        wispd.kill();
    } else if (const testing::AssertionResult stopped = wispd.stop(); !stopped) {
        complain(stopped.message());
    }
    if (const testing::AssertionResult started = wispd.start(); !started) {
        complain(started.message());
    }
    return host_text(host);
}

} // namespace hb_test
