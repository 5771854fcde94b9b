// SPDX-License-Identifier: Apache-2.0
// The events of a cluster service when its picture changes, and their order.
#include <gtest/gtest.h>

#include "providers/service/picture_events.h"
#include "providers/sim/simulated_service.h"

namespace mox_service {
namespace {

using mox_sim::address_of;

// "monitor category type node name".
std::vector<std::string> texts(const std::vector<Monitor_Event> &monitor_events) {
    std::vector<std::string> all;
    for (const Monitor_Event &one : monitor_events) {
        all.push_back(one.monitor + " " + std::to_string(one.event.category) + " " +
                      std::to_string(one.event.type) + " " + std::to_string(one.event.node) +
                      (one.event.name.empty() ? "" : " " + one.event.name));
    }
    return all;
}

Node node(uint32_t number, qz_mox_node_status_t status = QZ_MOX_NODE_STATUS_UP) {
    Node made;
    made.number = number;
    made.status = status;
    return made;
}

Interface interface(uint32_t on, const std::string &name, const std::string &address,
                    qz_mox_intf_status_t status = QZ_MOX_INTF_STATUS_UP) {
    return {on, name, address_of(address), status};
}

// Nodes 1 and 2 with eth0 and eth1 each.
Picture two_nodes() {
    return {{node(1), node(2)},
            {interface(1, "eth0", "10.0.0.1"), interface(1, "eth1", "10.1.0.1"),
             interface(2, "eth0", "10.0.0.2"), interface(2, "eth1", "10.1.0.2")}};
}

using Texts = std::vector<std::string>;

TEST(PictureEvents, TheSamePictureTellsNothing) {
    EXPECT_EQ(Texts{}, texts(events_between(two_nodes(), two_nodes())));
}

TEST(PictureEvents, ANodeThatDiesAndComesBackIsToldWithoutItsInterfaces) {
    Picture dead = two_nodes();
    dead.nodes[1].status = QZ_MOX_NODE_STATUS_DOWN;
    dead.interfaces[2].status = QZ_MOX_INTF_STATUS_DOWN;
    dead.interfaces[3].status = QZ_MOX_INTF_STATUS_DOWN;
    EXPECT_EQ(Texts{"node_liveness 0 0 2"}, texts(events_between(two_nodes(), dead)));
    EXPECT_EQ(Texts{"node_liveness 0 1 2"}, texts(events_between(dead, two_nodes())));
}

TEST(PictureEvents, AnInterfaceOfALivingNodeIsToldByItself) {
    Picture lame = two_nodes();
    lame.interfaces[3].status = QZ_MOX_INTF_STATUS_DOWN;
    EXPECT_EQ(Texts{"adapter_liveness 1 0 2 eth1"}, texts(events_between(two_nodes(), lame)));
    EXPECT_EQ(Texts{"adapter_liveness 1 1 2 eth1"}, texts(events_between(lame, two_nodes())));
}

TEST(PictureEvents, ANodeThatLeavesOrJoinsIsToldWithoutItsInterfaces) {
    Picture alone = two_nodes();
    alone.nodes.pop_back();
    alone.interfaces.resize(2);
    EXPECT_EQ(Texts{"node_list 6 3 2"}, texts(events_between(two_nodes(), alone)));
    EXPECT_EQ(Texts{"node_list 6 2 2"}, texts(events_between(alone, two_nodes())));
}

TEST(PictureEvents, AnInterfaceThatLeavesOrJoinsItsNodeIsToldByItself) {
    Picture less = two_nodes();
    less.interfaces.pop_back();
    EXPECT_EQ(Texts{"adapter_liveness 1 3 2 eth1"}, texts(events_between(two_nodes(), less)));
    EXPECT_EQ(Texts{"adapter_liveness 1 2 2 eth1"}, texts(events_between(less, two_nodes())));
}

TEST(PictureEvents, AChangedAddressIsTheOldOneDeletedAndTheNewOneAdded) {
    Picture moved = two_nodes();
    moved.interfaces[0].address = address_of("10.0.0.9");
    const std::vector<Monitor_Event> monitor_events = events_between(two_nodes(), moved);
    EXPECT_EQ((Texts{"ip_change 5 5 1 eth0", "ip_change 5 4 1 eth0"}), texts(monitor_events));
    ASSERT_EQ(2U, monitor_events.size());
    EXPECT_EQ(address_of("10.0.0.1").v4.v4_in_v6_ipv4, monitor_events[0].event.address.v4.v4_in_v6_ipv4);
    EXPECT_EQ(address_of("10.0.0.9").v4.v4_in_v6_ipv4, monitor_events[1].event.address.v4.v4_in_v6_ipv4);
}

TEST(PictureEvents, WhoLeftIsToldFirstAndWhoCameUpLast) {
    const Picture before = {{node(1), node(2), node(3), node(4, QZ_MOX_NODE_STATUS_DOWN)},
                            {interface(1, "eth0", "10.0.0.1"), interface(1, "eth1", "10.1.0.1"),
                             interface(1, "eth2", "10.2.0.1", QZ_MOX_INTF_STATUS_DOWN)}};
    const Picture after = {
        {node(1), node(3, QZ_MOX_NODE_STATUS_DOWN), node(4), node(5)},
        {interface(1, "eth0", "10.0.0.9"), interface(1, "eth2", "10.2.0.1"), interface(1, "eth3", "10.3.0.1")}};
    EXPECT_EQ((Texts{"node_list 6 3 2", "adapter_liveness 1 3 1 eth1", "ip_change 5 5 1 eth0",
                     "ip_change 5 4 1 eth0", "node_list 6 2 5", "adapter_liveness 1 2 1 eth3",
                     "node_liveness 0 0 3", "node_liveness 0 1 4", "adapter_liveness 1 1 1 eth2"}),
              texts(events_between(before, after)));
}

TEST(PictureEvents, AWholeNewConfigurationIsOneEvent) {
    const Monitor_Event monitor_event = reconfiguration();
    EXPECT_EQ("cluster_reconfig", monitor_event.monitor);
    EXPECT_TRUE(monitor_event.event.is_reconfiguration);
}

} // namespace
} // namespace mox_service
