// SPDX-License-Identifier: Apache-2.0
// The library with the cluster service over Corosync. Whatever the engine reports, and in whatever order the
// client reads its descriptors, it receives only true events. In the end it knows what the engine knows.
#include <algorithm>
#include <deque>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "hb_client.h"
#include "lib/hb_global_data/configuration_table.h"
#include "providers/followed/followed_service.h"
#include "tests/support/deadline.h"
#include "tests/support/environment_guard.h"
#include "tests/support/isolated.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/wispd/fake_corosync.h"

namespace hb_test {
namespace {

constexpr int LINKS = 2;
constexpr uint32_t NODES = 5;
constexpr unsigned PER_NODE = 48;
constexpr std::size_t EVENT_PIPE = 1; // its position among the descriptors

using Numbers = std::set<unsigned>;

std::string text_of(const Numbers &numbers) {
    std::ostringstream text;
    for (const unsigned number : numbers) {
        text << number << ' ';
    }
    return text.str();
}

struct Who_Is_Up {
    Numbers nodes;
    Numbers adapters;

    bool operator==(const Who_Is_Up &) const = default;
};

void PrintTo(const Who_Is_Up &who, std::ostream *out) {
    *out << "nodes " << text_of(who.nodes) << "adapters " << text_of(who.adapters);
}

// The engine and its changes. Node 1 is the local node.
class Engine_Of_Storm {
  public:
    Engine_Of_Storm() {
        cluster_.configuration = {"storm", 1, {}};
        for (uint32_t node = 1; node <= NODES; ++node) {
            configure(node);
            join(node);
        }
    }

    std::unique_ptr<mox_followed::Followed_Service> service() {
        // Every check includes the links. Nodes that an ended engine does not see are dead at once.
        const wispd::Corosync_Settings settings{{},
                                                {std::chrono::milliseconds(0), std::chrono::milliseconds(0)}};
        return std::make_unique<mox_followed::Followed_Service>(std::make_unique<wispd::Corosync_Follower>(
            settings, [this] { return std::make_unique<wispd_test::Fake_Corosync>(cluster_); },
            std::make_unique<wispd_test::Fake_Interfaces>(cables_)));
    }

    bool is_member(uint32_t node) const { return cluster_.members.contains(node); }
    bool is_configured(uint32_t node) const {
        const auto &nodes = cluster_.configuration.nodes;
        return std::any_of(nodes.begin(), nodes.end(), [&](const auto &one) { return one.id == node; });
    }
    bool is_up(uint32_t node) const { return is_member(node) && is_configured(node); }
    int connections() const { return cluster_.connections; }

    void join(uint32_t node) {
        cluster_.members[node] = ++joins_[node];
        for (int link = 0; link < LINKS && node != 1; ++link) {
            cluster_.links[{node, link}].connected = true;
        }
        tell();
    }
    void leave(uint32_t node) {
        cluster_.members.erase(node);
        tell();
    }
    // Down and up again before the service checks.
    void bounce(uint32_t node) {
        cluster_.members[node] = ++joins_[node];
        tell();
    }
    void toggle_link(uint32_t node, int link) {
        wispd::Corosync_Link &state = cluster_.links[{node, link}];
        state.connected = !state.connected;
        state.times_down += state.connected ? 0 : 1;
    }
    void flap_link(uint32_t node, int link) { ++cluster_.links[{node, link}].times_down; }
    void toggle_cable(int link) {
        bool &cut = cables_.cut[address(1, link)];
        cut = !cut;
    }
    void configure(uint32_t node) {
        wispd::Corosync_Node added{node, "node" + std::to_string(node), {}};
        for (int link = 0; link < LINKS; ++link) {
            added.addresses[link] = address(node, link);
        }
        cluster_.configuration.nodes.push_back(added);
        std::sort(cluster_.configuration.nodes.begin(), cluster_.configuration.nodes.end(),
                  [](const auto &a, const auto &b) { return a.id < b.id; });
    }
    void remove(uint32_t node) {
        std::erase_if(cluster_.configuration.nodes, [&](const auto &one) { return one.id == node; });
    }
    void change_address(uint32_t node, int link) {
        for (wispd::Corosync_Node &one : cluster_.configuration.nodes) {
            if (one.id == node) {
                ++moves_[{node, link}];
                one.addresses[link] = address(node, link);
            }
        }
    }
    void reload() { cluster_.tell_reload(); }
    void end() {
        cluster_.runs = false;
        cluster_.bell.ring();
    }
    void begin() { cluster_.runs = true; }

    Who_Is_Up who_is_up() const {
        Who_Is_Up who;
        for (const wispd::Corosync_Node &node : cluster_.configuration.nodes) {
            const bool is_local = node.id == 1;
            if (!is_local && (!cluster_.runs || !is_member(node.id))) {
                continue;
            }
            who.nodes.insert(node.id);
            for (const auto &[link, address] : node.addresses) {
                const auto cut = cables_.cut.find(address);
                const bool cable = cut == cables_.cut.end() || !cut->second;
                const auto state = cluster_.links.find({node.id, link});
                if (is_local ? cable : state != cluster_.links.end() && state->second.connected) {
                    who.adapters.insert(node.id * PER_NODE + static_cast<unsigned>(link));
                }
            }
        }
        return who;
    }

  private:
    std::string address(uint32_t node, int link) const {
        const auto moves = moves_.find({node, link});
        return "10." + std::to_string(link) + "." +
               std::to_string(moves == moves_.end() ? 0 : moves->second % 250) + "." + std::to_string(node);
    }
    void tell() { cluster_.tell_members(cluster_.members); }

    wispd_test::Fake_Cluster cluster_;
    wispd_test::Fake_Interfaces::Cables cables_;
    std::map<uint32_t, uint32_t> joins_;
    std::map<std::pair<uint32_t, int>, int> moves_;
};

// The library in cluster-event mode, with a subscription to all nodes and one to all adapters.
class Storm_Client {
  public:
    Storm_Client() {
        EXPECT_EQ(Hb_Success, hb_migrate_to_mox_commit()); // there is no daemon to leave
        EXPECT_EQ(Hb_Success, hb_init());
        EXPECT_EQ(Hb_Success, hb_migrate_to_mox_prep());
        EXPECT_EQ(Hb_Success, hb_migrate_to_mox_commit());
        subscribe();
    }
    ~Storm_Client() { hb_terminate(); }
    Storm_Client(const Storm_Client &) = delete;
    Storm_Client &operator=(const Storm_Client &) = delete;

    void subscribe() {
        Hb_Name nodes = "n";
        Hb_Name adapters = "a";
        EXPECT_EQ(Hb_Success, hb_empty_subscription_group(wanted_.get()));
        EXPECT_EQ(Hb_Success, hb_add_all_nodes_to_subscription_group(wanted_.get()));
        EXPECT_EQ(Hb_Success, hb_subscribe(nodes, wanted_.get(), 7));
        EXPECT_EQ(Hb_Success, hb_empty_subscription_group(wanted_.get()));
        EXPECT_EQ(Hb_Success, hb_add_all_adapters_to_subscription_group(wanted_.get()));
        EXPECT_EQ(Hb_Success, hb_subscribe(adapters, wanted_.get(), 7));
        int *descriptors = nullptr;
        int count = 0;
        ASSERT_EQ(Hb_Success, hb_get_file_descriptor_array(&descriptors, &count));
        descriptors_.assign(descriptors, descriptors + count);
        hb_free_file_descriptor_array(descriptors);
    }
    std::size_t descriptors() const { return descriptors_.size(); }

    // Reads from one of the descriptors. Returns false if there was nothing to read. An event without news
    // counts, too.
    bool read(std::size_t descriptor) {
        int ready[] = {descriptors_.at(descriptor), -1};
        int events = -1;
        Hb_Name name = "untouched";
        unsigned long sequence = 0;
        // The pipe of the subscriptions does not block: an empty pipe is a failure.
        if (hb_get_event_message(ready, nullptr, &events, name, group_.get(), &sequence) != Hb_Success) {
            return false;
        }
        if (events == 1 || events == 2 || events == 4) {
            take(events);
        }
        const bool is_empty_pipe = descriptor == EVENT_PIPE && std::string(name) == "<EMPTY EVENT>";
        return events != 0 || (std::string(name) != "untouched" && !is_empty_pipe);
    }
    // Reads everything that is pending.
    void drain() {
        for (bool any = true; any;) {
            any = false;
            for (std::size_t i = 0; i < descriptors_.size(); ++i) {
                while (read(i)) {
                    any = true;
                }
            }
        }
    }

    const Who_Is_Up &view() const { return view_; }
    // The events of each node, in order: '-' for a death, '+' for a join.
    const std::string &story(unsigned node) { return stories_[node]; }
    const std::string &wrong() const { return wrong_; }

  private:
    void take(int events) {
        const bool of_nodes = group_->Hb_group_type == Hb_Node_Group;
        Numbers &up = of_nodes ? view_.nodes : view_.adapters;
        const Numbers members = of_nodes ? nodes() : adapters();
        if (events == 4) {
            up = members;
            return;
        }
        for (const unsigned member : members) {
            const bool fits = events == 1 ? up.erase(member) == 1 : up.insert(member).second;
            if (!fits) {
                wrong_ += std::string(of_nodes ? "node " : "adapter ") + std::to_string(member) +
                          (events == 1 ? " died and was not up; " : " joined and was up; ");
            }
            if (of_nodes) {
                stories_[member] += events == 1 ? '-' : '+';
            }
        }
    }
    Numbers nodes() const {
        Numbers members;
        Hb_Node_Number node = 0;
        for (Hb_Rc rc = hb_get_first_node(group_.get(), &node); rc == Hb_Success;
             rc = hb_get_next_node(group_.get(), &node)) {
            members.insert(static_cast<unsigned>(node));
        }
        return members;
    }
    Numbers adapters() const {
        Numbers members;
        Hb_Adapter_Identifier adapter{};
        for (Hb_Rc rc = hb_get_first_adapter(group_.get(), &adapter); rc == Hb_Success;
             rc = hb_get_next_adapter(group_.get(), &adapter)) {
            members.insert(adapter.Hb_adapter_number);
        }
        return members;
    }

    std::unique_ptr<Hb_Group> group_ = std::make_unique<Hb_Group>();
    std::unique_ptr<Hb_Subscription_Group> wanted_ = std::make_unique<Hb_Subscription_Group>();
    std::vector<int> descriptors_;
    Who_Is_Up view_;
    std::map<unsigned, std::string> stories_;
    std::string wrong_;
};

Who_Is_Up table() {
    Who_Is_Up who;
    for (int i = 0; i < global_config_tbl.Hb_num_nodes; ++i) {
        if (global_config_tbl.node_list[i].state == Hb_Entity_Up) {
            who.nodes.insert(static_cast<unsigned>(global_config_tbl.node_list[i].node_num));
        }
    }
    for (int i = 0; i < global_config_tbl.Hb_num_adapters; ++i) {
        if (global_config_tbl.Hb_global_adapter_list[i].Hb_state == Hb_Entity_Up) {
            who.adapters.insert(global_config_tbl.Hb_global_adapter_list[i].Hb_adapter_num);
        }
    }
    return who;
}

class Storm {
  public:
    explicit Storm(unsigned seed) : random_(seed), service_(engine_.service()) {
        client_ = std::make_unique<Storm_Client>();
        client_->drain();
    }

    unsigned pick(std::size_t choices) { return static_cast<unsigned>(random_() % choices); }
    uint32_t other_node() { return 2 + pick(NODES - 1); }

    // Changes members and links only, and records the history of each node.
    void membership_changes() {
        const uint32_t node = other_node();
        switch (pick(6)) {
        case 0:
        case 1:
            if (engine_.is_member(node)) {
                engine_.leave(node);
            } else {
                engine_.join(node);
            }
            story(node, engine_.is_member(node) ? "+" : "-");
            break;
        case 2:
            if (engine_.is_member(node)) {
                engine_.bounce(node);
                story(node, "-+");
            }
            break;
        case 3:
            engine_.toggle_link(node, static_cast<int>(pick(LINKS)));
            break;
        case 4:
            engine_.flap_link(node, static_cast<int>(pick(LINKS)));
            break;
        default:
            engine_.toggle_cable(static_cast<int>(pick(LINKS)));
            break;
        }
    }
    void configuration_changes() {
        const uint32_t node = other_node();
        switch (pick(3)) {
        case 0:
            if (engine_.is_configured(node)) {
                engine_.remove(node);
            } else {
                engine_.configure(node);
            }
            break;
        case 1:
            engine_.change_address(node, static_cast<int>(pick(LINKS)));
            break;
        default:
            break; // a reload without a change
        }
        engine_.reload();
    }
    void engine_ends_and_returns() {
        engine_.end();
        look();
        read_some();
        const int connections = engine_.connections();
        if (pick(2) == 0) {
            membership_changes();
        }
        engine_.begin();
        EXPECT_TRUE(wait_until([&] {
            client_->read(pick(client_->descriptors()));
            return engine_.connections() > connections;
        }));
    }
    void read_some() {
        for (unsigned calls = pick(12); calls > 0; --calls) {
            client_->read(pick(client_->descriptors()));
        }
    }

    void expect_agreement() {
        client_->drain();
        EXPECT_EQ("", client_->wrong());
        EXPECT_EQ(engine_.who_is_up(), client_->view());
        EXPECT_EQ(engine_.who_is_up(), table());
    }
    void expect_stories() {
        for (uint32_t node = 2; node <= NODES; ++node) {
            EXPECT_EQ(stories_[node], client_->story(node)) << "of node " << node;
        }
    }
    bool failed() const { return testing::Test::HasFailure(); }
    Storm_Client &client() { return *client_; }

  private:
    // Changes between two checks might cancel each other out.
    void story(uint32_t node, const std::string &events) {
        stories_[node] += events;
        look();
    }
    // This reading belongs to no monitor, but makes the service check.
    static void look() {
        qz_orb_event_metadata_t none{};
        EXPECT_EQ(-16, qz_orb_read_event(-1, 0, &none));
    }

    std::mt19937 random_;
    Environment_Guard socket_{"HB_SERVER_SOCKET", "/nonexistent/hb_corosync_storm"};
    Engine_Of_Storm engine_;
    std::unique_ptr<mox_followed::Followed_Service> service_;
    std::unique_ptr<Storm_Client> client_;
    std::map<uint32_t, std::string> stories_;
};

constexpr int STEPS = 500;

ISOLATED_TEST(CorosyncStorm, EveryDeathAndEveryReturnOfANodeIsToldOnceAndInOrder) {
    for (const unsigned seed : {1U, 2U, 3U}) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Storm storm(seed);
        for (int step = 0; step < STEPS && !storm.failed(); ++step) {
            storm.membership_changes();
            if (storm.pick(30) == 0) {
                EXPECT_EQ(Hb_Success, hb_migrate_to_mox_prep()); // it only queries
            }
            storm.read_some();
            if (storm.pick(20) == 0) {
                storm.expect_agreement();
                storm.expect_stories();
            }
        }
        storm.expect_agreement();
        storm.expect_stories();
    }
}

ISOLATED_TEST(CorosyncStorm, WithReloadsAndSubscriptionsTheClientEndsUpWithWhatTheEngineKnows) {
    for (const unsigned seed : {4U, 5U, 6U}) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Storm storm(seed);
        for (int step = 0; step < STEPS && !storm.failed(); ++step) {
            if (storm.pick(6) == 0) {
                storm.configuration_changes();
            } else {
                storm.membership_changes();
            }
            if (storm.pick(15) == 0) {
                storm.client().subscribe();
            }
            storm.read_some();
            if (storm.pick(20) == 0) {
                storm.expect_agreement();
            }
        }
        storm.expect_agreement();
    }
}

ISOLATED_TEST(CorosyncStorm, AnEngineThatEndsAndReturnsLosesNothing) {
    Storm storm(7);
    for (int round = 0; round < 20 && !storm.failed(); ++round) {
        for (int step = 0; step < 20; ++step) {
            storm.membership_changes();
            storm.read_some();
        }
        storm.engine_ends_and_returns();
        storm.expect_agreement();
    }
}

} // namespace
} // namespace hb_test
