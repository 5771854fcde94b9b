// SPDX-License-Identifier: Apache-2.0
// A node that comes up: the table gets the adapters that were reported, whatever the queries for it returned.
#include <cerrno>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/hb_global_data/event_queue.h"
#include "lib/mox/handlers/process_handlers.h"
#include "tests/support/isolated.h"
#include "tests/unit/cluster_events/cluster.h"
#include "tests/unit/mox_handlers/handler_call.h"

namespace hb_test {
namespace {

using mox_sim::Operation;
using testing::ElementsAre;
using testing::IsEmpty;

// Node 3 and its adapters have been reported dead; the service has them up again.
struct Returned {
    Returned() {
        client.open();
        client.service.node_down(3);
        client.service.interface_down(3, "eth0");
        client.service.interface_down(3, "eth1");
        client.take_all();
        EXPECT_EQ(Hb_Entity_Down, state_of_node(3));
        EXPECT_EQ(Hb_Entity_Down, state_of_adapter(144));
        EXPECT_EQ(Hb_Entity_Down, state_of_adapter(145));
        mox_sim::Node node;
        node.number = 3;
        client.service.set(node);
        for (mox_sim::Interface interface : client.service.interfaces()) {
            interface.status = QZ_MOX_INTF_STATUS_UP;
            client.service.set(interface);
        }
    }
    void come_up() {
        client.service.push("node_liveness", node_record(QZ_ORB_EVENT_UP, 3));
        EXPECT_EQ(JOIN, client.take().events);
    }
    void adapter(qz_orb_event_type_t type, const std::string &name) {
        client.service.push("adapter_liveness", adapter_record(type, 3, name));
    }
    std::vector<Taken> after_a_reconfiguration() {
        mox_sim::Event_Record event;
        event.is_reconfiguration = true;
        client.service.push("cluster_reconfig", event);
        return client.take_all();
    }

    Cluster_Client client;
};

ISOLATED_TEST(ReturnedNode, AdaptersThatTheSecondQueryDidNotGiveJoinWithTheNextUpdate) {
    Returned returned;
    returned.client.service.fail(Operation::get_net_intf_info, -1, EIO, 1, 1); // the update's own query works
    returned.come_up();
    EXPECT_THAT(returned.client.take_all(), ElementsAre(of_configuration()));
    EXPECT_EQ(Hb_Entity_Down, state_of_adapter(144));
    EXPECT_THAT(returned.after_a_reconfiguration(),
                ElementsAre(of_configuration(), of_adapters(JOIN, "a", {144, 145})));
    EXPECT_THAT(returned.after_a_reconfiguration(), ElementsAre(of_configuration()));
}

ISOLATED_TEST(ReturnedNode, AnAdapterWhoseJoinWasReadBeforeDoesNotJoinAgain) {
    Returned returned;
    returned.adapter(QZ_ORB_EVENT_UP, "eth1");
    EXPECT_EQ(of_adapters(JOIN, "a", {145}), returned.client.take());
    returned.come_up();
    EXPECT_THAT(returned.client.take_all(), ElementsAre(of_configuration(), of_adapters(JOIN, "a", {144})));
    EXPECT_EQ(Hb_Entity_Up, state_of_adapter(145));
}

ISOLATED_TEST(ReturnedNode, NothingIsQueuedBehindTheMarkerWhenAllItsAdaptersHaveJoined) {
    Returned returned;
    returned.adapter(QZ_ORB_EVENT_UP, "eth0");
    returned.adapter(QZ_ORB_EVENT_UP, "eth1");
    EXPECT_EQ(of_adapters(JOIN, "a", {144}), returned.client.take());
    EXPECT_EQ(of_adapters(JOIN, "a", {145}), returned.client.take());
    returned.come_up();
    EXPECT_THAT(queued(), ElementsAre(queued_marker()));
    returned.client.take_all();
    EXPECT_EQ(Hb_Entity_Up, state_of_adapter(144));
    EXPECT_EQ(Hb_Entity_Up, state_of_adapter(145));
}

ISOLATED_TEST(ReturnedNode, AnAdapterThatIsNotInTheServicesListAnyMoreDies) {
    Returned returned;
    returned.adapter(QZ_ORB_EVENT_UP, "eth1"); // it came up and was removed; the removal is still unread
    EXPECT_EQ(of_adapters(JOIN, "a", {145}), returned.client.take());
    returned.client.service.remove_interface(3, "eth1");
    returned.adapter(QZ_ORB_EVENT_DELETE, "eth1");
    returned.client.service.push("node_liveness", node_record(QZ_ORB_EVENT_UP, 3));
    Handler_Call call;
    ASSERT_EQ(Hb_Success, call.run(node_liveness_handler_p));
    EXPECT_EQ(JOIN, call.events);
    EXPECT_THAT(queued(),
                ElementsAre(queued_adapters(DEATH, {145}), queued_marker(), queued_adapters(JOIN, {144})));
    const std::vector<Taken> all = returned.client.take_all();
    ASSERT_LE(3U, all.size());
    EXPECT_EQ(of_adapters(DEATH, "a", {145}), all[0]);
    EXPECT_EQ(of_configuration(), all[1]);
    EXPECT_EQ(of_adapters(JOIN, "a", {144}), all[2]);
    for (std::size_t i = 3; i < all.size(); ++i) {
        EXPECT_THAT(all[i].adapters, IsEmpty()) << "the removal's own event tells nothing again";
    }
    EXPECT_EQ(&HB_INVALID_ADAP, hb_get_adap_entry(145));
}

ISOLATED_TEST(ReturnedNode, JoinsHaveTheNumbersOfTheTableThatIsLiveThen) {
    Returned returned;
    returned.client.service.remove_interface(3, "eth0"); // so that eth1 has the first number
    returned.come_up();
    EXPECT_EQ(of_configuration(), returned.client.take());
    EXPECT_EQ(of_adapters(JOIN, "a", {144}), returned.client.take());
    char name[HB_ADAPTER_TYPE_SIZE] = "";
    ASSERT_EQ(Hb_Success, hb_get_adapter_type_by_number(144, name));
    EXPECT_STREQ("eth1", name);
}

// The service may still report adapters of a dead node as up while their own events are unread.
ISOLATED_TEST(ReturnedNode, AdaptersThatDiedWithTheirNodeDoNotDieAgain) {
    Cluster_Client client;
    client.open();
    mox_sim::Node node;
    node.number = 3;
    node.status = QZ_MOX_NODE_STATUS_DOWN;
    client.service.set(node);
    client.service.push("node_liveness", node_record(QZ_ORB_EVENT_DOWN, 3));
    EXPECT_THAT(client.take_all(), ElementsAre(of_adapters(DEATH, "a", {144, 145}), of_nodes(DEATH, "n", {3}),
                                               of_configuration()));
    EXPECT_EQ(Hb_Entity_Down, state_of_adapter(144));
    client.service.interface_down(3, "eth0");
    EXPECT_EQ(0, client.take().events);
}

} // namespace
} // namespace hb_test
