// SPDX-License-Identifier: Apache-2.0
// The handler that answers a subscription with the current members of the group.
#include <cerrno>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/hb_global_data/cluster_name.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/mox/handlers/MOX_ORBFSNewGroupEventHandler.h"
#include "lib/mox/handlers/process_handlers.h"
#include "tests/support/faults.h"
#include "tests/support/isolated.h"
#include "tests/unit/cluster_events/cluster.h"
#include "tests/unit/mox_handlers/handler_call.h"

namespace hb_test {
namespace {

using mox_sim::Operation;
using testing::Contains;
using testing::ElementsAre;

constexpr int NEW_GROUP = 4;

struct New_Group {
    New_Group() { client.open(); }

    Hb_Rc ask(char request) {
        EXPECT_EQ(1, write(new_group_event_handler_p->getWriteFd(), &request, 1));
        return call.run(new_group_event_handler_p);
    }
    void expect_empty_event() {
        EXPECT_EQ(0, call.events);
        EXPECT_EQ(0U, call.sequence);
        EXPECT_EQ("<EMPTY EVENT>", call.name);
        EXPECT_TRUE(call.group_is_untouched());
    }

    Cluster_Client client;
    Handler_Call call;
};

ISOLATED_TEST(NewGroup, OfNodesHoldsThoseThatAreUpAndNotBeingRemoved) {
    New_Group group;
    const std::tuple<uint32_t, qz_mox_node_status_t, qz_mox_cfg_chg_op_t> nodes[] = {
        {2, QZ_MOX_NODE_STATUS_DOWN, QZ_MOX_CFG_OP_UNDEF},  {4, QZ_MOX_NODE_STATUS_UNDEF, QZ_MOX_CFG_OP_ADD},
        {5, QZ_MOX_NODE_STATUS_UP, QZ_MOX_CFG_OP_DEL},      {6, QZ_MOX_NODE_STATUS_UP, QZ_MOX_CFG_OP_ADD},
        {7, QZ_MOX_NODE_STATUS_UP, QZ_MOX_CFG_OP_CHG},      {8, QZ_MOX_NODE_STATUS_UP, QZ_MOX_CFG_OP_IGNORE},
        {2048, QZ_MOX_NODE_STATUS_UP, QZ_MOX_CFG_OP_UNDEF}, {2049, QZ_MOX_NODE_STATUS_UP, QZ_MOX_CFG_OP_UNDEF}};
    for (const auto &[number, status, operation] : nodes) {
        mox_sim::Node node;
        node.number = number;
        node.status = status;
        node.operation = operation;
        group.client.service.set(node);
    }
    EXPECT_EQ(Hb_Success, group.ask(1));
    EXPECT_EQ(NEW_GROUP, group.call.events);
    EXPECT_EQ("n", group.call.name);
    EXPECT_EQ(0U, group.call.sequence);
    EXPECT_EQ(0, group.call.group->Hb_group_type);
    EXPECT_EQ(NEW_GROUP, group.call.group->Hb_events);
    EXPECT_EQ(0, group.call.group->Hb_group_status);
    EXPECT_THAT(group.call.nodes(), ElementsAre(1, 3, 6, 7, 8, 2048));
    EXPECT_EQ(6, group.call.node_count());
    EXPECT_EQ(0, group.client.service.lists_out());
}

ISOLATED_TEST(NewGroup, OfNodesLeavesOutANodeThatAPeerReportedDead) {
    New_Group group;
    set_node(2, Hb_Entity_Down, Hb_Entity_State_Reason_KOBAL_Down); // the service reports it up
    EXPECT_EQ(Hb_Success, group.ask(1));
    EXPECT_THAT(group.call.nodes(), ElementsAre(1, 3));
    EXPECT_EQ(2, group.call.node_count());
    set_node(2, Hb_Entity_Up, Hb_Entity_State_Reason_KOBAL_Up); // a message came from it
    EXPECT_EQ(Hb_Success, group.ask(1));
    EXPECT_THAT(group.call.nodes(), ElementsAre(1, 2, 3));
}

ISOLATED_TEST(NewGroup, OfNodesAlwaysHoldsTheLocalNode) {
    New_Group group;
    mox_sim::Node local;
    local.number = 1;
    for (const qz_mox_node_status_t status : {QZ_MOX_NODE_STATUS_DOWN, QZ_MOX_NODE_STATUS_UNDEF}) {
        local.status = status;
        group.client.service.set(local);
        EXPECT_EQ(Hb_Success, group.ask(1));
        EXPECT_THAT(group.call.nodes(), ElementsAre(1, 2, 3));
    }
}

ISOLATED_TEST(NewGroup, AndTablesLeaveOutAlikeWhatIsBeingRemoved) {
    New_Group group;
    mox_sim::Node node;
    node.number = 3;
    node.operation = QZ_MOX_CFG_OP_DEL;
    group.client.service.set(node);
    for (mox_sim::Interface interface : group.client.service.interfaces()) {
        if (interface.node == 3 || (interface.node == 2 && interface.name == "eth0")) {
            interface.operation = QZ_MOX_CFG_OP_DEL;
            group.client.service.set(interface);
        }
    }
    mox_sim::Event_Record event;
    event.is_reconfiguration = true;
    group.client.service.push("cluster_reconfig", event);
    EXPECT_EQ(of_adapters(DEATH, "a", {96, 144, 145}), group.client.take());
    EXPECT_EQ(of_nodes(DEATH, "n", {3}), group.client.take());
    EXPECT_EQ(of_configuration(), group.client.take());
    char name[HB_ADAPTER_TYPE_SIZE] = "";
    EXPECT_EQ(Hb_Success, hb_get_adapter_type_by_number(96, name));
    EXPECT_STREQ("eth1", name) << "the slots are those of the interfaces that stay";
    EXPECT_EQ(Hb_Success, group.ask(1));
    EXPECT_THAT(group.call.nodes(), ElementsAre(1, 2));
    EXPECT_EQ(Hb_Success, group.ask(2));
    EXPECT_THAT(group.call.adapters(), ElementsAre(48, 49, 96));
}

ISOLATED_TEST(NewGroup, OfAdaptersHoldsThoseThatAreUp) {
    New_Group group;
    group.client.service.interface_down(2, "eth0");
    EXPECT_EQ(DEATH, group.client.take().events); // unread, its death would be reported after the group
    EXPECT_EQ(Hb_Success, group.ask(2));
    EXPECT_EQ(NEW_GROUP, group.call.events);
    EXPECT_EQ("a", group.call.name);
    EXPECT_EQ(0U, group.call.sequence);
    EXPECT_EQ(1, group.call.group->Hb_group_type);
    EXPECT_EQ(NEW_GROUP, group.call.group->Hb_events);
    EXPECT_EQ(0, group.call.group->Hb_group_status);
    EXPECT_EQ(0xFFFFFFFFU, group.call.group->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_group_leader);
    EXPECT_EQ(0xFFFFFFFFU,
              group.call.group->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_group_incarnation);
    EXPECT_THAT(group.call.adapters(), ElementsAre(48, 49, 97, 144, 145));
    EXPECT_EQ(5, group.call.adapter_count());
    EXPECT_EQ(0xFFFFFFFFU, group.call.slot(96));
    EXPECT_EQ(0xFFFFFFFFU, group.call.slot(98351));
}

// The byte that a subscription writes to the new-group pipe; 0 if there is none, or more than one.
int requested() {
    char bytes[2] = {};
    const int fd = new_group_event_handler_p->getFileDescriptor();
    const ssize_t count = read(fd, bytes, sizeof bytes);
    return count == 1 ? bytes[0] : 0;
}

ISOLATED_TEST(NewGroup, ASubscriptionWritesItsByteAndIsTracedWithTheDescriptor) {
    const struct {
        void (*fill)(Hb_Subscription_Group *);
        int byte;
        uint32_t record;
    } rows[] = {
        {[](Hb_Subscription_Group *group) { hb_add_node_to_subscription_group(group, 2); }, 1, 201},
        {[](Hb_Subscription_Group *group) { hb_add_all_nodes_to_subscription_group(group); }, 1, 201},
        {[](Hb_Subscription_Group *group) { hb_add_adapter_to_subscription_group(group, 96); }, 2, 27},
        {[](Hb_Subscription_Group *group) { hb_add_all_adapters_to_subscription_group(group); }, 2, 27},
        {[](Hb_Subscription_Group *group) { hb_add_network_to_subscription_group(group, 0); }, 2, 27},
    };
    for (const auto &row : rows) {
        const New_Group group;
        Hb_Subscription_Group subscription = {};
        ASSERT_EQ(Hb_Success, hb_empty_subscription_group(&subscription));
        row.fill(&subscription);
        char name[] = "x";
        const Trace_Spy spy(1, 1, 1);
        ASSERT_EQ(Hb_Success, hb_subscribe(name, &subscription, 4));
        EXPECT_THAT(traced_ids(spy), ElementsAre(row.record));
        EXPECT_THAT(traced(spy, row.record)->values,
                    ElementsAre(static_cast<uint32_t>(new_group_event_handler_p->getWriteFd())));
        EXPECT_EQ(1U, traced(spy, row.record)->category) << "Info";
        EXPECT_EQ(row.byte, requested());
    }
}

ISOLATED_TEST(NewGroup, WithoutItsSubscriptionIsAnEmptyEventAndAsksNobody) {
    const std::tuple<char, Hb_Name *, uint32_t> cases[] = {{1, &nodeEventSubscriptionName, 71},
                                                           {2, &networkEventSubscriptionName, 73}};
    for (const auto &[request, name, record] : cases) {
        New_Group group;
        const int nodes = group.client.service.calls(Operation::get_node_info);
        const int interfaces = group.client.service.calls(Operation::get_net_intf_info);
        hb_set_name(*name, "");
        const Trace_Spy spy(0, 1, 0);
        EXPECT_EQ(Hb_Success, group.ask(request));
        group.expect_empty_event();
        EXPECT_THAT(traced_ids(spy), ElementsAre(75, record, 77));
        EXPECT_EQ(nodes, group.client.service.calls(Operation::get_node_info));
        EXPECT_EQ(interfaces, group.client.service.calls(Operation::get_net_intf_info));
    }
}

ISOLATED_TEST(NewGroup, AQueryThatFailsHasItsNumberAndKeepsErrno) {
    const std::tuple<char, Operation, int, uint32_t> cases[] = {{1, Operation::get_node_info, 64, 72},
                                                                {2, Operation::get_net_intf_info, 65, 74}};
    for (const auto &[request, operation, number, record] : cases) {
        New_Group group;
        group.client.service.fail(operation, -4, ENOLINK);
        const Trace_Spy spy(0, 1, 0);
        EXPECT_EQ(Hb_Failure, group.ask(request));
        EXPECT_EQ(number, group.call.error);
        EXPECT_EQ(ENOLINK, group.call.system_error);
        ASSERT_NE(nullptr, traced(spy, record));
        EXPECT_THAT(traced(spy, record)->values, ElementsAre(static_cast<uint32_t>(-4), ENOLINK));
        EXPECT_TRUE(group.call.header_is_untouched());
        EXPECT_EQ(request == 1, group.call.group_is_untouched()) << "the adapter slots were marked first";
        EXPECT_EQ(request == 1 ? 0x5A5A5A5AU : 0xFFFFFFFFU, group.call.slot(98351));
    }
}

ISOLATED_TEST(NewGroup, WithoutAServiceTheQueriesFail) {
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    char name[] = "new group";
    ORBFSNewGroupEventHandler handler(ends, name);
    hb_set_name(nodeEventSubscriptionName, "n");
    hb_set_name(networkEventSubscriptionName, "a");
    for (const auto &[request, number] : {std::pair<char, int>{1, 64}, {2, 65}}) {
        ASSERT_EQ(1, write(ends[1], &request, 1));
        Handler_Call call;
        EXPECT_EQ(Hb_Failure, call.run(&handler));
        EXPECT_EQ(number, call.error);
    }
}

ISOLATED_TEST(NewGroup, AnyOtherRequestIsError68) {
    for (const char request : {'\0', '\3', '\xFF'}) {
        New_Group group;
        const Trace_Spy spy(0, 1, 0);
        EXPECT_EQ(Hb_Failure, group.ask(request));
        EXPECT_EQ(68, group.call.error);
        EXPECT_TRUE(group.call.group_is_untouched());
        ASSERT_NE(nullptr, traced(spy, 80));
        EXPECT_THAT(traced(spy, 80)->values, ElementsAre(static_cast<unsigned char>(request), 1U));
    }
}

ISOLATED_TEST(NewGroup, WithoutARequestIsError58AndDoesNotBlock) {
    New_Group group;
    const Trace_Spy spy(0, 1, 0);
    EXPECT_EQ(Hb_Failure, group.call.run(new_group_event_handler_p));
    EXPECT_EQ(58, group.call.error);
    EXPECT_EQ(EAGAIN, group.call.system_error);
    EXPECT_EQ(Handler_Call::NO_EVENTS, group.call.events);
    EXPECT_TRUE(group.call.group_is_untouched());
    EXPECT_THAT(traced_ids(spy), ElementsAre(75, 76, 77));
    EXPECT_THAT(spy.records()[1].values, ElementsAre(static_cast<uint32_t>(-1), EAGAIN));
}

ISOLATED_TEST(NewGroup, AnEndOfFileIsError58) {
    New_Group group;
    close(new_group_event_handler_p->orbfs_pipe_write_fd);
    new_group_event_handler_p->orbfs_pipe_write_fd = -1;
    EXPECT_EQ(Hb_Failure, group.call.run(new_group_event_handler_p));
    EXPECT_EQ(58, group.call.error);
}

ISOLATED_TEST(NewGroup, AClusterWithoutANameIsTracedAndServed) {
    New_Group group;
    delete[] orbfs_cluster_name;
    orbfs_cluster_name = nullptr;
    const Trace_Spy spy(0, 1, 0);
    EXPECT_EQ(Hb_Success, group.ask(1));
    EXPECT_THAT(traced_ids(spy), ElementsAre(75, 79, 77));
    EXPECT_EQ(NEW_GROUP, group.call.events);
}

} // namespace
} // namespace hb_test
