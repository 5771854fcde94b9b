// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/replay_storm/engine_world.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "cluster/address.h"
#include "host/log.h"
#include "providers/corosync/corosync_peers.h"
#include "providers/followed/followed_service.h"
#include "tests/support/deadline.h"
#include "tests/unit/wispd/fake_corosync.h"

namespace hb_test::replay_storm {
namespace {

constexpr uint32_t LOCAL = 1;
constexpr uint32_t NODES = 5; // possible node numbers
constexpr int LINKS = 3;      // possible link numbers
constexpr unsigned PER_NODE = 48;

std::string address(uint32_t node, int link, unsigned variant) {
    return "10." + std::to_string(link) + "." + std::to_string(variant % 3) + "." + std::to_string(node);
}

std::string bytes_of_address(const std::string &text) {
    const Hb_IP_address6 parsed = wispd::parse_address(text).value();
    std::string bytes(sizeof parsed, '\0');
    std::memcpy(bytes.data(), &parsed, sizeof parsed);
    return bytes;
}

// The group of the peers, while the engine runs.
struct Fake_Group {
    bool stands = true;
    std::set<uint32_t> present;
    std::vector<mox_corosync::Peers> news;
    wispd_test::Bell bell;

    void report(const std::set<uint32_t> &left_with_node) {
        news.push_back({present, left_with_node});
        bell.ring();
    }
};

class Fake_Peer_Group : public mox_corosync::Peer_Group {
  public:
    explicit Fake_Peer_Group(Fake_Group &group) : group_(group) {
        check();
        group_.news = {{group_.present, {}}};
    }
    int descriptor() const override { return group_.bell.descriptor(); }
    std::vector<mox_corosync::Peers> dispatch() override {
        check();
        group_.bell.silence();
        return std::exchange(group_.news, {});
    }

  private:
    void check() const {
        if (!group_.stands) {
            throw wispd::Engine_Gone("there is no group");
        }
    }

    Fake_Group &group_;
};

class Engine_World : public World {
  public:
    Engine_World();

    Cluster_State state() const override;
    bool act(const Step &step) override;
    std::vector<Cluster_State> moments() override { return std::exchange(moments_, {}); }
    void come_to_rest() override;
    void provoke_rebuild() override { cluster_.tell_reload(); }

  private:
    bool change_member(const Step &step);
    bool change_link(const Step &step);
    bool change_configuration(const Step &step);
    bool change_addresses(const Step &step);
    bool change_peer(const Step &step);
    void engine_ends();
    void engine_returns();
    bool is_member(uint32_t node) const { return cluster_.members.contains(node); }
    void join(uint32_t node);
    void leave(uint32_t node);
    void configure(uint32_t node);
    wispd::Corosync_Node *find(uint32_t node);
    bool is_link_up(uint32_t node, int link, const std::string &at) const;
    static void look();

    wispd_test::Fake_Cluster cluster_;
    wispd_test::Fake_Interfaces::Cables cables_;
    Fake_Group group_;
    std::map<uint32_t, uint32_t> joins_;
    std::vector<Cluster_State> moments_;
    std::unique_ptr<mox_followed::Followed_Service> service_;
};

Engine_World::Engine_World() {
    wispd::set_log_level("error");
    cluster_.configuration = {"storm", LOCAL, {}};
    for (uint32_t node = 1; node <= 4; ++node) {
        configure(node);
        join(node);
        group_.present.insert(node);
    }
    // Every check of the service includes the links. Nodes that an ended engine does not see are dead at once.
    const wispd::Corosync_Settings settings{{}, {std::chrono::milliseconds(0), std::chrono::milliseconds(0)}};
    service_ = std::make_unique<mox_followed::Followed_Service>(
        std::make_unique<wispd::Corosync_Follower>(
            settings, [this] { return std::make_unique<wispd_test::Fake_Corosync>(cluster_); },
            std::make_unique<wispd_test::Fake_Interfaces>(cables_)),
        std::make_unique<mox_corosync::Corosync_Peers>(mox_corosync::Peer_Settings{
            "storm", [this] { return std::make_unique<Fake_Peer_Group>(group_); }}));
}

bool Engine_World::is_link_up(uint32_t node, int link, const std::string &at) const {
    if (node == LOCAL) {
        const auto cut = cables_.cut.find(at);
        return cut == cables_.cut.end() || !cut->second;
    }
    const auto state = cluster_.links.find({node, link});
    return cluster_.runs && is_member(node) && state != cluster_.links.end() && state->second.connected;
}

Cluster_State Engine_World::state() const {
    Cluster_State state;
    state.configuration.local_node = LOCAL;
    for (const wispd::Corosync_Node &node : cluster_.configuration.nodes) {
        const int number = static_cast<int>(node.id);
        state.configuration.nodes.insert(number);
        if (node.id == LOCAL || (cluster_.runs && is_member(node.id))) {
            state.nodes_up.insert(number);
        }
        unsigned place = 0;
        for (const auto &[link, at] : node.addresses) {
            const Adapter_Id id{number, "knet" + std::to_string(link), bytes_of_address(at)};
            state.configuration.adapters[node.id * PER_NODE + place++] = id;
            if (is_link_up(node.id, link, at)) {
                state.adapters_up.insert(id);
            }
        }
    }
    return state;
}

bool Engine_World::act(const Step &step) {
    if (!cluster_.runs) {
        if (step.verb != Verb::engine_returns) {
            return false;
        }
        engine_returns();
        return true;
    }
    if (step.verb == Verb::engine_ends) {
        engine_ends();
        return true;
    }
    return change_member(step) || change_link(step) || change_configuration(step) || change_peer(step);
}

// ---- Members and links ----

void Engine_World::join(uint32_t node) {
    cluster_.members[node] = ++joins_[node];
    for (int link = 0; link < LINKS && node != LOCAL; ++link) {
        cluster_.links[{node, link}].connected = true;
    }
    cluster_.tell_members(cluster_.members);
}

void Engine_World::leave(uint32_t node) {
    cluster_.members.erase(node);
    cluster_.tell_members(cluster_.members);
    if (group_.present.erase(node) > 0) {
        group_.report({node});
    }
}

bool Engine_World::change_member(const Step &step) {
    const uint32_t node = 2 + step.a % (NODES - 1);
    switch (step.verb) {
    case Verb::node_down:
        if (is_member(node)) {
            leave(node);
            return true;
        }
        return false;
    case Verb::node_up:
        if (!is_member(node)) {
            join(node);
            return true;
        }
        return false;
    case Verb::flap:
        // Down and up again before the service checks.
        if (step.b % 2 == 0 && is_member(node)) {
            leave(node);
            moments_.push_back(state());
            join(node);
        } else {
            wispd::Corosync_Link &link = cluster_.links[{node, static_cast<int>(step.c) % LINKS}];
            const bool connected = std::exchange(link.connected, false);
            moments_.push_back(state());
            link.connected = connected;
            ++link.times_down;
        }
        return true;
    default:
        return false;
    }
}

bool Engine_World::change_link(const Step &step) {
    if (step.verb != Verb::adapter_down && step.verb != Verb::adapter_up) {
        return false;
    }
    const uint32_t node = 1 + step.a % NODES;
    const int link = static_cast<int>(step.b) % LINKS;
    const bool up = step.verb == Verb::adapter_up;
    if (node == LOCAL) {
        const auto &addresses = find(LOCAL)->addresses;
        const auto at = addresses.find(link);
        if (at == addresses.end()) {
            return false;
        }
        cables_.cut[at->second] = !up;
        cables_.bell.ring();
        return true;
    }
    wispd::Corosync_Link &state = cluster_.links[{node, link}];
    state.times_down += state.connected && !up ? 1 : 0;
    state.connected = up;
    return true;
}

// ---- The configuration ----

wispd::Corosync_Node *Engine_World::find(uint32_t node) {
    auto &nodes = cluster_.configuration.nodes;
    const auto found = std::find_if(nodes.begin(), nodes.end(),
                                    [&](const wispd::Corosync_Node &one) { return one.id == node; });
    return found != nodes.end() ? &*found : nullptr;
}

void Engine_World::configure(uint32_t node) {
    wispd::Corosync_Node added{node, "node" + std::to_string(node), {}};
    for (int link = 0; link < 2; ++link) {
        added.addresses[link] = address(node, link, 0);
    }
    auto &nodes = cluster_.configuration.nodes;
    nodes.push_back(added);
    std::sort(nodes.begin(), nodes.end(), [](const auto &a, const auto &b) { return a.id < b.id; });
}

bool Engine_World::change_configuration(const Step &step) {
    const uint32_t node = 2 + step.a % (NODES - 1);
    if (step.verb == Verb::node_add && find(node) == nullptr) {
        configure(node);
    } else if (step.verb == Verb::node_remove && find(node) != nullptr) {
        std::erase_if(cluster_.configuration.nodes,
                      [&](const wispd::Corosync_Node &one) { return one.id == node; });
    } else if (step.verb != Verb::reload && !change_addresses(step)) {
        return false;
    }
    // The service uses the links as it last saw them. Links of new nodes may have been up at that time.
    const wispd::Corosync_Links links = cluster_.links;
    for (auto &[link, is] : cluster_.links) {
        is.connected = true;
    }
    moments_.push_back(state());
    cluster_.links = links;
    cluster_.tell_reload();
    return true;
}

bool Engine_World::change_addresses(const Step &step) {
    const uint32_t number = 1 + step.a % NODES;
    const int link = static_cast<int>(step.b) % LINKS;
    wispd::Corosync_Node *const node = find(number);
    if (node == nullptr) {
        return false;
    }
    const bool has_link = node->addresses.contains(link);
    switch (step.verb) {
    case Verb::adapter_add:
        if (has_link) {
            return false;
        }
        node->addresses[link] = address(number, link, step.c);
        return true;
    case Verb::adapter_remove:
        if (!has_link || node->addresses.size() == 1) {
            return false;
        }
        node->addresses.erase(link);
        return true;
    case Verb::address:
        if (!has_link) {
            return false;
        }
        node->addresses[link] = address(number, link, step.c);
        return true;
    case Verb::swap_addresses:
        if (node->addresses.size() < 2) {
            return false;
        }
        std::swap(node->addresses.begin()->second, std::next(node->addresses.begin())->second);
        return true;
    default:
        return false;
    }
}

// ---- Peers ----

bool Engine_World::change_peer(const Step &step) {
    const uint32_t node = 2 + step.a % (NODES - 1);
    if (!is_member(node)) {
        return false;
    }
    const bool changed = (step.verb == Verb::peer_down && group_.present.erase(node) > 0) ||
                         (step.verb == Verb::peer_up && group_.present.insert(node).second);
    if (changed) {
        group_.report({});
    }
    return changed;
}

// ---- The engine ----

// This reading names no monitor, but makes the service check its cluster.
void Engine_World::look() {
    qz_orb_event_metadata_t none{};
    qz_orb_read_event(-1, 0, &none);
}

void Engine_World::engine_ends() {
    cluster_.runs = false;
    group_.stands = false;
    cluster_.bell.ring();
    group_.bell.ring();
    look();
    look();
}

void Engine_World::engine_returns() {
    cluster_.runs = true;
    group_.stands = true;
    const bool back = wait_until([&] {
        look();
        return cluster_.connections_open > 0; // an attempt that failed counts in `connections`
    });
    if (!back) {
        throw std::runtime_error("the service does not connect to the engine that is back");
    }
}

void Engine_World::come_to_rest() {
    if (!cluster_.runs) {
        engine_returns();
    }
}

} // namespace

std::unique_ptr<World> make_engine_world() {
    return std::make_unique<Engine_World>();
}

} // namespace hb_test::replay_storm
