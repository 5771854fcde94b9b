// SPDX-License-Identifier: Apache-2.0
// The service over Corosync has unread events of two categories, or a preparation queries while events are
// unread. The client receives what happened.
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "hb_client.h"
#include "providers/followed/followed_service.h"
#include "tests/support/isolated.h"
#include "tests/unit/reading_order/replaying_client.h"
#include "tests/unit/wispd/fake_corosync.h"

namespace hb_test {
namespace {

// Nodes 1 to 4 on links 0 and 1. The local node is 1; node 4 is down.
class Simulated_Engine {
  public:
    Simulated_Engine() {
        configure(4);
        const wispd::Corosync_Settings settings{{},
                                                {std::chrono::milliseconds(0), std::chrono::milliseconds(0)}};
        service_ = std::make_unique<mox_followed::Followed_Service>(std::make_unique<wispd::Corosync_Follower>(
            settings, [this] { return std::make_unique<wispd_test::Fake_Corosync>(*cluster_); },
            std::make_unique<wispd_test::Fake_Interfaces>(cables_)));
        look();
    }

    // ---- Steps: the service looks after each, so that the next one finds its events unread ----
    void leave(uint32_t node) {
        wispd::Corosync_Members members = cluster_->members;
        members.erase(node);
        cluster_->tell_members(members);
        look();
    }
    void join(uint32_t node) {
        wispd::Corosync_Members members = cluster_->members;
        members[node] = ++joins_[node] + 1;
        for (const int number : {0, 1}) {
            cluster_->links[{node, number}].connected = true;
        }
        cluster_->tell_members(members);
        look();
    }
    void set_link(uint32_t node, int number, bool connected) {
        cluster_->links[{node, number}].connected = connected;
        look();
    }
    void reload() {
        cluster_->tell_reload();
        look();
    }

    // ---- Changes of the configuration, for the next reload ----
    void configure(uint32_t node) {
        const std::string number = std::to_string(node);
        if (!is_configured(node)) {
            cluster_->configuration.nodes.push_back(
                {node, "node" + number, {{0, "10.1.0." + number}, {1, "10.2.0." + number}}});
        }
    }
    void remove(uint32_t node) {
        std::erase_if(cluster_->configuration.nodes, [&](const auto &one) { return one.id == node; });
    }
    void move(uint32_t node, const std::string &address) {
        for (wispd::Corosync_Node &one : cluster_->configuration.nodes) {
            if (one.id == node) {
                one.addresses[0] = address;
            }
        }
    }

    bool is_member(uint32_t node) const { return cluster_->members.contains(node); }
    Up up() const {
        Up up;
        for (const wispd::Corosync_Node &node : cluster_->configuration.nodes) {
            if (!is_member(node.id)) {
                continue;
            }
            const auto number = static_cast<int>(node.id);
            up.nodes.insert(number);
            for (const auto &[link, address] : node.addresses) {
                const auto state = cluster_->links.find({node.id, link});
                if (node.id == 1 || (state != cluster_->links.end() && state->second.connected)) {
                    up.interfaces.emplace(number, "knet" + std::to_string(link));
                }
            }
        }
        return up;
    }

  private:
    bool is_configured(uint32_t node) const {
        for (const wispd::Corosync_Node &one : cluster_->configuration.nodes) {
            if (one.id == node) {
                return true;
            }
        }
        return false;
    }
    // No monitor has this descriptor. The readings still check the cluster: first the members, then the links.
    static void look() {
        qz_orb_event_metadata_t none{};
        EXPECT_EQ(-16, qz_orb_read_event(-1, 0, &none));
        EXPECT_EQ(-16, qz_orb_read_event(-1, 0, &none));
    }

    std::unique_ptr<wispd_test::Fake_Cluster> cluster_ = wispd_test::Fake_Cluster::of_three();
    wispd_test::Fake_Interfaces::Cables cables_;
    std::map<uint32_t, uint32_t> joins_;
    std::unique_ptr<mox_followed::Followed_Service> service_;
};

void expect_agreement(const Simulated_Engine &engine, const Replaying_Client &client) {
    EXPECT_EQ("", client.contradictions());
    EXPECT_EQ(engine.up(), client.received());
    EXPECT_EQ(engine.up(), Replaying_Client::table());
}

struct Happening {
    std::string name;
    Category category;
    std::function<void(Simulated_Engine &)> happens;
    std::string story; // "3-+" is a death and a join of node 3
};

std::vector<Happening> happenings() {
    const auto reload_with = [](std::function<void(Simulated_Engine &)> change) {
        return [change](Simulated_Engine &engine) {
            change(engine);
            engine.reload();
        };
    };
    return {
        {"node 3 dies", Category::node, [](auto &engine) { engine.leave(3); }, "3-"},
        {"node 3 dies and returns", Category::node,
         [](auto &engine) {
             engine.leave(3);
             engine.join(3);
         },
         "3-+"},
        {"node 3 is back before it is missed", Category::node, [](auto &engine) { engine.join(3); }, "3-+"},
        {"node 4 returns", Category::node, [](auto &engine) { engine.join(4); }, "4+"},
        {"node 4 returns, dies and returns", Category::node,
         [](auto &engine) {
             engine.join(4);
             engine.leave(4);
             engine.join(4);
         },
         "4+-+"},
        {"2/knet0 fails", Category::adapter, [](auto &engine) { engine.set_link(2, 0, false); }, ""},
        {"3/knet1 fails and is repaired", Category::adapter,
         [](auto &engine) {
             engine.set_link(3, 1, false);
             engine.set_link(3, 1, true);
         },
         ""},
        {"3/knet1 fails", Category::adapter, [](auto &engine) { engine.set_link(3, 1, false); }, ""},
        {"node 5 joins the configuration and returns", Category::reconfiguration,
         [](auto &engine) {
             engine.configure(5);
             engine.reload();
             engine.join(5);
         },
         ""},
        {"node 2 leaves the configuration", Category::reconfiguration,
         reload_with([](auto &engine) { engine.remove(2); }), ""},
        {"node 3 leaves the configuration and is back, dead", Category::reconfiguration,
         [](auto &engine) {
             engine.remove(3);
             engine.reload();
             engine.leave(3);
             engine.configure(3);
             engine.reload();
         },
         ""},
        {"2/knet0 has another address", Category::reconfiguration,
         reload_with([](auto &engine) { engine.move(2, "10.9.0.2"); }), ""},
        {"the same configuration", Category::reconfiguration, reload_with([](auto &) {}), ""},
    };
}

enum class Order { first_then_second, second_then_first, in_turns };

void run_pair(const Happening &first, const Happening &second, Order order) {
    SCOPED_TRACE(first.name + "; " + second.name + "; order " + std::to_string(static_cast<int>(order)));
    Simulated_Engine engine;
    Replaying_Client client;
    first.happens(engine);
    second.happens(engine);
    const bool swapped = order == Order::second_then_first;
    const Category one = swapped ? second.category : first.category;
    const Category other = swapped ? first.category : second.category;
    if (order == Order::in_turns) {
        for (bool any = true; any;) {
            any = client.read(one);
            any = client.read(other) || any;
        }
    } else {
        client.read_all(one);
        client.read_all(other);
    }
    client.drain();
    expect_agreement(engine, client);
    for (const auto &[mine, others] : {std::pair(&first, &second), std::pair(&second, &first)}) {
        if (!mine->story.empty() && others->category == Category::adapter) {
            EXPECT_EQ(mine->story.substr(1), client.story(mine->story.front() - '0'));
        }
    }
}

using Categories = std::pair<Category, Category>;

class Corosync_Reading_Orders : public testing::TestWithParam<Categories> {};

TEST_P(Corosync_Reading_Orders, LoseNothing) {
    run_isolated([] {
        const std::vector<Happening> all = happenings();
        for (const Happening &first : all) {
            for (const Happening &second : all) {
                const bool fit = first.category == GetParam().first && second.category == GetParam().second;
                for (const Order order :
                     {Order::first_then_second, Order::second_then_first, Order::in_turns}) {
                    if (fit && !HasFailure()) {
                        run_pair(first, second, order);
                    }
                }
            }
        }
    });
}

std::vector<Categories> pairs() {
    std::vector<Categories> pairs;
    for (const Category first : {Category::node, Category::adapter, Category::reconfiguration}) {
        for (const Category second : {Category::node, Category::adapter, Category::reconfiguration}) {
            pairs.emplace_back(first, second);
        }
    }
    return pairs;
}

INSTANTIATE_TEST_SUITE_P(OfTwoCategories, Corosync_Reading_Orders, testing::ValuesIn(pairs()),
                         [](const auto &pair) {
                             return std::string(name_of(pair.param.first)) + "_then_" +
                                    name_of(pair.param.second);
                         });

// ---- A second preparation ----

ISOLATED_TEST(Second_Preparation, ThatSucceedsLeavesAnUnreadDeathToBeReceived) {
    Simulated_Engine engine;
    Replaying_Client client;
    engine.leave(3);
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    engine.reload();
    EXPECT_TRUE(client.read(Category::reconfiguration));
    EXPECT_EQ("", client.story(3));
    EXPECT_TRUE(client.received().interfaces.contains({3, "knet0"}));
    EXPECT_TRUE(client.read(Category::node));
    EXPECT_EQ("-", client.story(3));
    client.drain();
    expect_agreement(engine, client);
}

ISOLATED_TEST(Second_Preparation, WithdrawsNoDeathOfANodeThatIsBack) {
    Simulated_Engine engine;
    Replaying_Client client;
    engine.leave(3);
    engine.join(3);
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    client.drain();
    EXPECT_EQ("-+", client.story(3));
    expect_agreement(engine, client);
}

ISOLATED_TEST(Second_Preparation, ThatIsRefusedTeachesTheServiceNoConfiguration) {
    Simulated_Engine engine;
    Replaying_Client client;
    engine.configure(5);
    engine.remove(2); // makes the preparation fail
    engine.reload();
    engine.join(5);
    EXPECT_EQ(Hb_Failure, hb_migrate_to_mox_prep());
    EXPECT_EQ(75, hb_get_errno());
    EXPECT_EQ((std::set<int>{1, 2, 3}), client.new_node_group());
    EXPECT_EQ((std::set<int>{48, 49, 96, 97, 144, 145}), client.new_adapter_group());
    EXPECT_TRUE(client.read(Category::reconfiguration));
    EXPECT_EQ((std::set<int>{1, 3}), client.new_node_group());
    client.drain();
    expect_agreement(engine, client);
}

ISOLATED_TEST(SecondCommit, TeachesTheServiceTheConfigurationThatItReports) {
    Simulated_Engine engine;
    Replaying_Client client;
    engine.configure(5);
    engine.remove(2);
    engine.reload();
    engine.leave(3);
    engine.join(5);
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    client.receive_what_is_queued();
    EXPECT_EQ((std::set<int>{1, 3}), client.received().nodes) << "the liveness of 3 and 5 is unread";
    EXPECT_EQ((std::set<int>{1, 3}), client.new_node_group());
    client.drain();
    EXPECT_EQ("-", client.story(2));
    EXPECT_EQ("-", client.story(3));
    EXPECT_EQ("+", client.story(5));
    expect_agreement(engine, client);
}

} // namespace
} // namespace hb_test
