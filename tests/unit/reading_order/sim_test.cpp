// SPDX-License-Identifier: Apache-2.0
// Events of two categories are unread. Whichever is read first, the client receives what happened.
#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "providers/service/picture_events.h"
#include "providers/sim/simulated_service.h"
#include "tests/support/isolated.h"
#include "tests/unit/reading_order/replaying_client.h"

namespace hb_test {
namespace {

using mox_sim::Interface;
using mox_sim::Monitor_Event;
using mox_sim::Node;
using mox_sim::Picture;

// The service, changed in steps. Each step sends its events.
class Simulation {
  public:
    // Nodes 1 to 4 with eth0 and eth1. The local node is 1; node 4 is down.
    Simulation() {
        service_.set_cluster("small", 1);
        for (uint32_t node = 1; node <= 4; ++node) {
            add_node(node, node != 4);
        }
        publish({});
    }

    // ---- Changes of the picture; a step publishes them ----
    void add_node(uint32_t number, bool up = true) {
        picture_.nodes.push_back(
            {number, "node" + std::to_string(number), up ? QZ_MOX_NODE_STATUS_UP : QZ_MOX_NODE_STATUS_DOWN});
        for (const int network : {0, 1}) {
            add_interface(number, network, up);
        }
    }
    void remove_node(uint32_t number) {
        std::erase_if(picture_.nodes, [&](const Node &node) { return node.number == number; });
        std::erase_if(picture_.interfaces, [&](const Interface &one) { return one.node == number; });
    }
    void set_node(uint32_t number, bool up) {
        for (Node &node : picture_.nodes) {
            if (node.number == number) {
                node.status = up ? QZ_MOX_NODE_STATUS_UP : QZ_MOX_NODE_STATUS_DOWN;
            }
        }
        for (Interface &interface : picture_.interfaces) {
            if (interface.node == number) {
                interface.status = up ? QZ_MOX_INTF_STATUS_UP : QZ_MOX_INTF_STATUS_DOWN;
            }
        }
    }
    void add_interface(uint32_t node, int network, bool up = true) {
        Interface interface;
        interface.node = node;
        interface.name = "eth" + std::to_string(network);
        interface.address = mox_sim::address_of("10." + std::to_string(network) + ".0." + std::to_string(node));
        interface.status = up ? QZ_MOX_INTF_STATUS_UP : QZ_MOX_INTF_STATUS_DOWN;
        picture_.interfaces.push_back(interface);
    }
    void remove_interface(uint32_t node, const std::string &name) {
        std::erase_if(picture_.interfaces,
                      [&](const Interface &one) { return one.node == node && one.name == name; });
    }
    void set_interface(uint32_t node, const std::string &name, bool up) {
        for (Interface &interface : picture_.interfaces) {
            if (interface.node == node && interface.name == name) {
                interface.status = up ? QZ_MOX_INTF_STATUS_UP : QZ_MOX_INTF_STATUS_DOWN;
            }
        }
    }
    void set_address(uint32_t node, const std::string &name, const std::string &address) {
        for (Interface &interface : picture_.interfaces) {
            if (interface.node == node && interface.name == name) {
                interface.address = mox_sim::address_of(address);
            }
        }
    }

    // ---- Steps ----
    void step() { publish(mox_service::events_between(published_, picture_)); }
    void reconfigure() { publish({mox_service::reconfiguration()}); }
    void push(const std::string &monitor, qz_orb_event_category_t category, qz_orb_event_type_t type,
              uint32_t node) {
        mox_sim::Event_Record event;
        event.category = category;
        event.type = type;
        event.node = node;
        service_.push(monitor, event);
    }

    Up up() const {
        Up up;
        for (const Node &node : picture_.nodes) {
            if (node.status == QZ_MOX_NODE_STATUS_UP) {
                up.nodes.insert(static_cast<int>(node.number));
            }
        }
        for (const Interface &interface : picture_.interfaces) {
            if (interface.status == QZ_MOX_INTF_STATUS_UP) {
                up.interfaces.emplace(static_cast<int>(interface.node), *interface.name);
            }
        }
        return up;
    }
    bool has(uint32_t number) const {
        return std::any_of(picture_.nodes.begin(), picture_.nodes.end(),
                           [&](const Node &node) { return node.number == number; });
    }
    bool is_up(uint32_t number) const { return up().nodes.contains(static_cast<int>(number)); }
    mox_sim::Simulated_Service &service() { return service_; }

  private:
    void publish(const std::vector<Monitor_Event> &events) {
        service_.change(picture_, events);
        published_ = picture_;
    }

    mox_sim::Simulated_Service service_;
    Picture picture_;
    Picture published_;
};

struct Happening {
    std::string name;
    Category category;
    std::function<void(Simulation &)> happens;
    // The history of nodes that only their own liveness affects: "3-+" is a death and a join of node 3.
    std::string story;
};

// Each consists of steps of one category. Steps that the current picture does not permit are omitted.
std::vector<Happening> happenings() {
    const auto up_down = [](uint32_t node, const std::vector<bool> &states) {
        return [=](Simulation &sim) {
            for (const bool up : states) {
                if (sim.has(node)) {
                    sim.set_node(node, up);
                    sim.step();
                }
            }
        };
    };
    const auto interface_states = [](uint32_t node, const char *name, const std::vector<bool> &states) {
        return [=](Simulation &sim) {
            for (const bool up : states) {
                if (sim.is_up(node)) {
                    sim.set_interface(node, name, up);
                    sim.step();
                }
            }
        };
    };
    return {
        {"node 3 dies", Category::node, up_down(3, {false}), "3-"},
        {"node 3 dies and returns", Category::node, up_down(3, {false, true}), "3-+"},
        {"node 4 returns", Category::node, up_down(4, {true}), "4+"},
        {"node 4 returns and dies", Category::node, up_down(4, {true, false}), "4+-"},
        {"node 4 returns, dies and returns", Category::node, up_down(4, {true, false, true}), "4+-+"},
        {"2/eth0 fails", Category::adapter, interface_states(2, "eth0", {false}), ""},
        {"3/eth0 fails", Category::adapter, interface_states(3, "eth0", {false}), ""},
        {"3/eth1 fails and is repaired", Category::adapter, interface_states(3, "eth1", {false, true}), ""},
        {"2/eth2 joins", Category::adapter,
         [](Simulation &sim) {
             if (sim.has(2) && !sim.up().interfaces.contains({2, "eth2"})) {
                 sim.add_interface(2, 2);
                 sim.step();
             }
         },
         ""},
        {"4/eth2 joins", Category::adapter,
         [](Simulation &sim) {
             sim.remove_interface(4, "eth2");
             sim.add_interface(4, 2, sim.is_up(4));
             sim.step();
         },
         ""},
        {"3/eth0 leaves", Category::adapter,
         [](Simulation &sim) {
             sim.remove_interface(3, "eth0");
             sim.step();
         },
         ""},
        {"node 5 joins", Category::node_list,
         [](Simulation &sim) {
             if (!sim.has(5)) {
                 sim.add_node(5);
                 sim.step();
             }
         },
         ""},
        {"node 2 leaves", Category::node_list,
         [](Simulation &sim) {
             sim.remove_node(2);
             sim.step();
         },
         ""},
        {"node 3 leaves", Category::node_list,
         [](Simulation &sim) {
             sim.remove_node(3);
             sim.step();
         },
         ""},
        {"node 3 leaves and is back down", Category::node_list,
         [](Simulation &sim) {
             sim.remove_node(3);
             sim.step();
             sim.add_node(3, false);
             sim.step();
         },
         ""},
        {"node 4 leaves and is back up", Category::node_list,
         [](Simulation &sim) {
             sim.remove_node(4);
             sim.step();
             sim.add_node(4, true);
             sim.step();
         },
         ""},
        {"node 6 joins, dies, returns and dies", Category::node_list,
         [up_down](Simulation &sim) {
             if (!sim.has(6)) {
                 sim.add_node(6);
                 sim.step();
                 up_down(6, {false, true, false})(sim);
             }
         },
         ""},
        {"node 2's daemon ends", Category::peer,
         [](Simulation &sim) {
             sim.push("peer_gs_liveness", QZ_ORB_EVENT_CATEGORY_PROCESS_LIVENESS, QZ_ORB_EVENT_DOWN, 2);
         },
         ""},
        {"2/eth0 has another address", Category::address,
         [](Simulation &sim) {
             sim.set_address(2, "eth0", "10.9.0.2");
             sim.step();
         },
         ""},
        {"3/eth1 has another address", Category::address,
         [](Simulation &sim) {
             sim.set_address(3, "eth1", "10.9.0.3");
             sim.step();
         },
         ""},
        {"4/eth1 has another address", Category::address,
         [](Simulation &sim) {
             sim.set_address(4, "eth1", "10.9.0.4");
             sim.step();
         },
         ""},
        {"a configuration with node 7 and without 2/eth1", Category::reconfiguration,
         [](Simulation &sim) {
             sim.remove_interface(2, "eth1");
             if (!sim.has(7)) {
                 sim.add_node(7);
             }
             sim.reconfigure();
         },
         ""},
        {"a configuration with node 3 down and node 4 up", Category::reconfiguration,
         [](Simulation &sim) {
             sim.set_node(3, false);
             sim.set_node(4, true);
             sim.reconfigure();
         },
         ""},
        {"the same configuration", Category::reconfiguration, [](Simulation &sim) { sim.reconfigure(); }, ""},
        {"a site changes", Category::site,
         [](Simulation &sim) { sim.push("site_cfg", QZ_ORB_EVENT_CATEGORY_SITE_CFG, QZ_ORB_SITE_MODIFY, 2); },
         ""},
    };
}

enum class Order { first_then_second, second_then_first, in_turns };

void read_in(Order order, Category first, Category second, Replaying_Client &client) {
    if (order == Order::second_then_first) {
        std::swap(first, second);
    }
    if (order != Order::in_turns) {
        client.read_all(first);
        client.read_all(second);
        return;
    }
    for (bool any = true; any;) {
        any = client.read(first);
        any = client.read(second) || any;
    }
}

// The service does not know of a death that only the daemon reported.
void expect_agreement(Simulation &sim, const Replaying_Client &client, bool daemon_ended) {
    Up up = sim.up();
    if (daemon_ended) {
        up.nodes.erase(2);
    }
    EXPECT_EQ("", client.contradictions());
    EXPECT_EQ(up, client.received());
    EXPECT_EQ(up, Replaying_Client::table());
    EXPECT_EQ(0, sim.service().events_out());
    EXPECT_EQ(0, sim.service().lists_out());
}

bool is_configuration(const Happening &happening) {
    return happening.category == Category::node_list || happening.category == Category::reconfiguration;
}

void run_pair(const Happening &first, const Happening &second, Order order) {
    SCOPED_TRACE(first.name + "; " + second.name + "; order " + std::to_string(static_cast<int>(order)));
    Simulation sim;
    Replaying_Client client;
    first.happens(sim);
    second.happens(sim);
    read_in(order, first.category, second.category, client);
    client.drain();
    expect_agreement(sim, client, first.category == Category::peer || second.category == Category::peer);
    // If no configuration affects the node, each of its deaths and joins is received exactly once.
    for (const auto &[one, other] : {std::pair(&first, &second), std::pair(&second, &first)}) {
        if (one->story.empty() || is_configuration(*other) || other->category == Category::node) {
            continue;
        }
        EXPECT_EQ(one->story.substr(1), client.story(one->story.front() - '0'));
    }
}

using Categories = std::pair<Category, Category>;

class Reading_Orders : public testing::TestWithParam<Categories> {};

TEST_P(Reading_Orders, LoseNothing) {
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
    for (int first = 0; first <= static_cast<int>(Category::site); ++first) {
        for (int second = 0; second <= static_cast<int>(Category::site); ++second) {
            pairs.emplace_back(static_cast<Category>(first), static_cast<Category>(second));
        }
    }
    return pairs;
}

INSTANTIATE_TEST_SUITE_P(OfTwoCategories, Reading_Orders, testing::ValuesIn(pairs()), [](const auto &pair) {
    return std::string(name_of(pair.param.first)) + "_then_" + name_of(pair.param.second);
});

// ---- The plain case ----

ISOLATED_TEST(Reading_Order, ANodesReturnThatIsUnreadWhileAnAdapterJoinsIsReceived) {
    Simulation sim;
    Replaying_Client client;
    sim.set_node(4, true);
    sim.step();
    sim.add_interface(2, 2);
    sim.step();
    EXPECT_TRUE(client.read(Category::adapter));
    EXPECT_EQ("", client.story(4));
    EXPECT_TRUE(client.received().interfaces.contains({2, "eth2"}));
    EXPECT_FALSE(client.received().interfaces.contains({4, "eth0"}));
    EXPECT_TRUE(client.read(Category::node));
    EXPECT_EQ("+", client.story(4));
    expect_agreement(sim, client, false);
}

ISOLATED_TEST(Reading_Order, AfterTheFirstOfSeveralEventsANodeIsAsThatEventReportsIt) {
    Simulation sim;
    Replaying_Client client;
    for (const bool up : {true, false, true}) {
        sim.set_node(4, up);
        sim.step();
    }
    EXPECT_TRUE(client.read(Category::node));
    EXPECT_EQ("+", client.story(4));
    EXPECT_TRUE(client.received().interfaces.contains({4, "eth1"}));
    sim.reconfigure();
    EXPECT_TRUE(client.read(Category::reconfiguration));
    EXPECT_TRUE(client.received().interfaces.contains({4, "eth1"}));
    EXPECT_TRUE(client.read(Category::node));
    EXPECT_EQ("+-", client.story(4));
    EXPECT_FALSE(client.received().interfaces.contains({4, "eth1"}));
    EXPECT_TRUE(client.read(Category::node));
    EXPECT_EQ("+-+", client.story(4));
    expect_agreement(sim, client, false);
}

// ---- Storms ----

// Nodes 2 to 6 and their interfaces change in steps and reloads. The client reads in random order.
class Storm {
  public:
    explicit Storm(unsigned seed) : random_(seed) {}

    void step() {
        const uint32_t node = 2 + pick(5);
        const std::string name = "eth" + std::to_string(pick(3));
        switch (pick(8)) {
        case 0:
        case 1:
        case 2:
            sim_.set_node(node, !sim_.is_up(node));
            break;
        case 3:
        case 4:
            if (sim_.is_up(node)) {
                sim_.set_interface(node, name, pick(2) == 0);
            }
            break;
        case 5:
            if (sim_.has(node)) {
                sim_.remove_node(node);
            } else {
                sim_.add_node(node, pick(2) == 0);
            }
            break;
        case 6:
            if (pick(2) == 0) {
                sim_.remove_interface(node, "eth2");
            } else if (sim_.has(node)) {
                sim_.remove_interface(node, "eth2");
                sim_.add_interface(node, 2, sim_.is_up(node));
            }
            break;
        default:
            sim_.set_address(node, name, "10.9." + std::to_string(pick(3)) + "." + std::to_string(node));
            break;
        }
        if (pick(10) == 0) {
            sim_.reconfigure();
        } else if (pick(10) != 0) { // otherwise the next step also shows this change
            sim_.step();
        }
    }
    void read_some() {
        for (unsigned calls = pick(6); calls > 0; --calls) {
            client_.read(static_cast<Category>(pick(static_cast<unsigned>(Category::site) + 1)));
        }
    }
    void expect_quiet() {
        sim_.step();
        client_.drain();
        expect_agreement(sim_, client_, false);
    }

  private:
    unsigned pick(unsigned choices) { return static_cast<unsigned>(random_() % choices); }

    std::mt19937 random_;
    Simulation sim_;
    Replaying_Client client_;
};

ISOLATED_TEST(Reading_Order, InAStormOfStepsAndReadingsNothingIsLost) {
    for (unsigned seed = 1; seed <= 10; ++seed) {
        Storm storm(seed);
        for (int step = 0; step < 500 && !testing::Test::HasFailure(); ++step) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(step));
            storm.step();
            storm.read_some();
            if (step % 20 == 19) {
                storm.expect_quiet();
            }
        }
    }
}

} // namespace
} // namespace hb_test
