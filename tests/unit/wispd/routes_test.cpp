// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <random>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cluster/address.h"
#include "cluster/routes.h"
#include "host/text.h"
#include "tests/unit/wispd/bytes_by_hand.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using wispd::Cluster;
using wispd::Configuration;
using wispd::Node_Route;
using wispd::Routes;
using wispd_test::adapter;
using wispd_test::three_nodes;

std::vector<std::string> hops(const Node_Route &route) {
    std::vector<std::string> list;
    for (int hop = 0; hop < route.length; ++hop) {
        list.push_back(wispd::address_text(route.hops.sr_address[hop]));
    }
    return list;
}

wispd::Configured_Adapter without_ip(int network) {
    return {static_cast<Hb_Network_Number>(network), {}, "rs232", true, false};
}

TEST(WispdRoutes, DirectOnesGoOverTheLowestNetworkThatIsUp) {
    Cluster cluster(three_nodes());
    EXPECT_THAT(hops(compute_routes(cluster)[3]), ElementsAre("10.1.0.1", "10.1.0.3"));
    cluster.adapter_down(6);
    EXPECT_THAT(hops(compute_routes(cluster)[3]), ElementsAre("10.2.0.1", "10.2.0.3"));
    cluster.adapter_up(6);
    cluster.adapter_down(2);
    EXPECT_THAT(hops(compute_routes(cluster)[3]), ElementsAre("10.2.0.1", "10.2.0.3"));
}

TEST(WispdRoutes, ThirdNodeHelpsWhereNoNetworkIsInCommon) {
    Cluster cluster(three_nodes());
    cluster.adapter_down(3); // the local node is on network 0 only
    cluster.adapter_down(6); // node 3 is on network 1 only
    EXPECT_THAT(hops(compute_routes(cluster)[3]), ElementsAre("10.1.0.1", "10.1.0.2", "10.2.0.2", "10.2.0.3"));
    cluster.adapter_down(5);
    EXPECT_THAT(hops(compute_routes(cluster)[3]), IsEmpty());
}

TEST(WispdRoutes, NobodyPassesOnWhereAnEngineTellsWhoIsReached) {
    Configuration configuration = three_nodes();
    configuration.is_from_engine = true;
    Cluster cluster(configuration);
    cluster.set_liveness({{1, 2, 3}, {2, 4, 5, 7}, {}, {}}); // as in the previous test
    const Routes routes = compute_routes(cluster);
    EXPECT_THAT(hops(routes[2]), ElementsAre("10.1.0.1", "10.1.0.2"));
    EXPECT_THAT(hops(routes[3]), IsEmpty());
    cluster.set_liveness({{1, 2, 3}, {2, 3, 4, 5, 7}, {}, {}});
    EXPECT_THAT(hops(compute_routes(cluster)[3]), ElementsAre("10.2.0.1", "10.2.0.3"));
}

TEST(WispdRoutes, LocalNodesRouteIsItsFirstAdapterThatIsUp) {
    Cluster cluster(three_nodes());
    EXPECT_THAT(hops(compute_routes(cluster)[1]), ElementsAre("10.1.0.1"));
    cluster.adapter_down(2);
    EXPECT_THAT(hops(compute_routes(cluster)[1]), ElementsAre("10.2.0.1"));
    cluster.adapter_down(3);
    EXPECT_THAT(hops(compute_routes(cluster)[1]), IsEmpty());
}

TEST(WispdRoutes, NobodyIsReachedWhoIsDownOrNotConfigured) {
    Cluster cluster(three_nodes());
    cluster.node_down(3);
    const Routes routes = compute_routes(cluster);
    EXPECT_EQ(routes.size(), 8u);
    for (std::size_t node : {0u, 3u, 4u, 7u}) {
        EXPECT_EQ(routes[node], Node_Route{}) << node;
    }
}

// Node n is on networks n - 1 and n.
Configuration chain(int nodes) {
    Configuration configuration;
    configuration.local_node = 0;
    configuration.max_nodes = nodes;
    configuration.adapters_per_node = nodes;
    for (int network = 0; network < nodes; ++network) {
        configuration.networks.push_back(
            {static_cast<Hb_Network_Number>(network), "n" + std::to_string(network), "ether"});
    }
    for (int node = 0; node < nodes; ++node) {
        const std::string before = "10." + std::to_string(node) + ".0.1";
        const std::string behind = "10." + std::to_string(node) + ".0.2";
        configuration.nodes.push_back({static_cast<Hb_Node_Number>(node), "n" + std::to_string(node), {}});
        if (node > 0) {
            configuration.nodes.back().adapters.push_back(adapter(node - 1, before.c_str()));
        }
        configuration.nodes.back().adapters.push_back(adapter(node, behind.c_str()));
    }
    return configuration;
}

TEST(WispdRoutes, AreAsLongAsElevenAddressesAllow) {
    const Routes routes = compute_routes(Cluster(chain(8)));
    EXPECT_THAT(hops(routes[5]), ElementsAre("10.0.0.2", "10.1.0.1", "10.1.0.2", "10.2.0.1", "10.2.0.2",
                                             "10.3.0.1", "10.3.0.2", "10.4.0.1", "10.4.0.2", "10.5.0.1"));
    EXPECT_THAT(hops(routes[6]), IsEmpty());
}

TEST(WispdRoutes, WithoutAddressesAreNoIpRoutes) {
    Configuration serial = three_nodes();
    serial.nodes[0].adapters[1] = without_ip(1);
    serial.nodes[2].adapters[1] = without_ip(1);
    Cluster cluster(serial);
    EXPECT_TRUE(compute_routes(cluster)[3].is_ip);
    cluster.adapter_down(6);
    const Node_Route route = compute_routes(cluster)[3];
    EXPECT_FALSE(route.is_ip);
    EXPECT_THAT(hops(route), ElementsAre("none", "none"));
}

TEST(WispdRoutes, LongerWayOverIpGoesBeforeAShorterOneThatIsNot) {
    Configuration mixed = three_nodes();
    mixed.adapters_per_node = 3;
    mixed.networks.push_back({2, "tty", "rs232"});
    mixed.nodes = {{1, "alpha", {adapter(0, "10.1.0.1"), without_ip(2)}},
                   {2, "beta", {adapter(0, "10.1.0.2"), adapter(1, "10.2.0.2")}},
                   {3, "gamma", {adapter(1, "10.2.0.3"), without_ip(2)}}};
    Cluster cluster(mixed);
    EXPECT_THAT(hops(compute_routes(cluster)[3]), ElementsAre("10.1.0.1", "10.1.0.2", "10.2.0.2", "10.2.0.3"));
    EXPECT_TRUE(compute_routes(cluster)[3].is_ip);
    cluster.node_down(2);
    EXPECT_FALSE(compute_routes(cluster)[3].is_ip);
}

// ---- Random clusters, compared with a plain search ----

constexpr int NODES = 12;
constexpr int NETWORKS = 8;

// Each node that a level reached tries each network and each node in turn, whether or not that can succeed.
Routes plain_routes(const Cluster &cluster, bool only_ip) {
    const auto usable = [&](int node, int network) {
        const wispd::Adapter &it = cluster.adapters()[static_cast<std::size_t>(node * NETWORKS + network)];
        return it.up && (!only_ip || wispd::is_address(it.address));
    };
    const auto address = [&](int node, int network) {
        return cluster.adapters()[static_cast<std::size_t>(node * NETWORKS + network)].address;
    };
    Routes routes(NODES);
    for (int network = NETWORKS - 1; network >= 0; --network) {
        if (usable(0, network)) {
            routes[0].length = 1;
            routes[0].hops.sr_address[0] = address(0, network);
            routes[0].is_ip = wispd::is_address(address(0, network));
        }
    }
    std::vector<int> level{0};
    for (int links = 1; links <= 5; ++links) {
        std::vector<int> next;
        for (const int from : level) {
            for (int network = 0; network < NETWORKS; ++network) {
                for (int to = 1; to < NODES; ++to) {
                    Node_Route &route = routes[static_cast<std::size_t>(to)];
                    if (route.length > 0 || !usable(from, network) || !usable(to, network)) {
                        continue;
                    }
                    if (from != 0) {
                        route = routes[static_cast<std::size_t>(from)];
                    }
                    for (const int end : {from, to}) {
                        route.hops.sr_address[route.length] = address(end, network);
                        route.is_ip = route.is_ip && wispd::is_address(address(end, network));
                        ++route.length;
                    }
                    next.push_back(to);
                }
            }
        }
        level = next;
    }
    return routes;
}

Configuration random_cluster(std::mt19937 &random) {
    const auto one_in = [&](unsigned times) { return random() % times == 0; };
    Configuration configuration;
    configuration.name = "random";
    configuration.max_nodes = NODES;
    configuration.adapters_per_node = NETWORKS;
    for (int network = 0; network < NETWORKS; ++network) {
        configuration.networks.push_back(
            {static_cast<Hb_Network_Number>(network), "net" + std::to_string(network), "ether"});
    }
    const auto sparseness = static_cast<unsigned>(2 + random() % 5);
    for (int node = 0; node < NODES; ++node) {
        wispd::Configured_Node made{static_cast<Hb_Node_Number>(node), "n" + std::to_string(node), {}};
        for (int network = 0; network < NETWORKS; ++network) {
            if (one_in(sparseness)) {
                made.adapters.push_back(
                    one_in(3) ? without_ip(network)
                              : adapter(network, wispd::text("10.", network, ".0.", node + 1).c_str()));
                made.adapters.back().up = !one_in(4);
            }
        }
        if (!made.adapters.empty() || node == 0) {
            configuration.nodes.push_back(made);
        }
    }
    return configuration;
}

TEST(WispdRoutes, AreThoseOfAPlainSearchInRandomClusters) {
    std::mt19937 random(1);
    int longest = 0;
    int not_ip = 0;
    for (int round = 0; round < 2000; ++round) {
        const Cluster cluster(random_cluster(random));
        const Routes ip = plain_routes(cluster, true);
        const Routes any = plain_routes(cluster, false);
        const Routes computed = compute_routes(cluster);
        for (std::size_t node = 0; node < NODES; ++node) {
            const Node_Route &expected = ip[node].length > 0 ? ip[node] : any[node];
            ASSERT_TRUE(computed[node] == expected) << "round " << round << " node " << node;
            longest = std::max<int>(longest, expected.length);
            not_ip += expected.is_ip ? 0 : 1;
        }
    }
    EXPECT_GE(longest, 8) << "the clusters have chains of networks";
    EXPECT_GT(not_ip, 100);
}

} // namespace
