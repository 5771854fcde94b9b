// SPDX-License-Identifier: Apache-2.0
// The events of a client in cluster-event mode when nodes, adapters, addresses and sites change.
#include <cerrno>
#include <cstring>

#include <gtest/gtest.h>

#include "lib/base/error_number.h"
#include "lib/hb_global_data/cluster_name.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/mox/handlers/handler_creation.h"
#include "lib/mox/handlers/process_handlers.h"
#include "tests/support/isolated.h"
#include "tests/unit/cluster_events/cluster.h"

namespace hb_test {
namespace {

using mox_sim::Event_Record;
using mox_sim::Operation;

constexpr int DEATH = 1;
constexpr int JOIN = 2;

Event_Record node_event(qz_orb_event_type_t type, uint32_t node) {
    Event_Record event;
    event.type = type;
    event.node = node;
    return event;
}

Event_Record adapter_event(qz_orb_event_type_t type, uint32_t node, const std::string &interface) {
    Event_Record event = node_event(type, node);
    event.category = QZ_ORB_EVENT_CATEGORY_ADAPTER_LIVENESS;
    event.name = interface;
    return event;
}

Hb_Entity_State node_state(int node) {
    const Hb_Node_Entry *entry = hb_find_node(global_config_tbl, node);
    return entry != nullptr ? entry->state : Hb_Entity_Undef;
}

// ---- Creation ----

ISOLATED_TEST(HandlerCreation, MakesNineHandlersAndTakesTheClustersName) {
    Cluster_Client client;
    client.open();
    for (const ORBFSHandler *handler :
         {adapter_event_handler_p, static_cast<ORBFSHandler *>(event_pipe_handler_p), node_liveness_handler_p,
          node_list_handler_p, peer_GS_liveness_handler_p,
          static_cast<ORBFSHandler *>(new_group_event_handler_p), ip_change_handler_p,
          cluster_reconfig_handler_p, site_config_handler_p}) {
        ASSERT_NE(nullptr, handler);
        EXPECT_NE(-1, handler->getFileDescriptor());
    }
    EXPECT_EQ(9, ORBFSHandler::getNumbersOfFileDescriptors());
    EXPECT_EQ(7, client.service.monitors_opened());
    EXPECT_STREQ("small", orbfs_cluster_name);
    EXPECT_EQ(0, client.service.lists_out());
}

ISOLATED_TEST(HandlerCreation, MakesNothingWithoutAService) {
    EXPECT_EQ(Hb_Success, MOX_create_global_event_handlers());
    EXPECT_EQ(nullptr, event_pipe_handler_p);
    EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
}

ISOLATED_TEST(HandlerCreation, IsUndoneWhenAMonitorCannotBeOpened) {
    for (int works = 0; works < 7; ++works) {
        mox_sim::Simulated_Service service;
        fill_small_cluster(service);
        service.fail(Operation::open_monitor, -1, ENXIO, works);
        errno = 0;
        EXPECT_EQ(Hb_Failure, MOX_create_global_event_handlers());
        EXPECT_EQ(ENXIO, errno);
        EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors()) << works;
        EXPECT_EQ(nullptr, adapter_event_handler_p);
        EXPECT_EQ(nullptr, event_pipe_handler_p);
        EXPECT_EQ(nullptr, orbfs_cluster_name);
    }
}

ISOLATED_TEST(HandlerCreation, IsUndoneWhenTheClusterHasNoName) {
    mox_sim::Simulated_Service service;
    service.fail(Operation::get_cluster_info, -1, EIO);
    EXPECT_EQ(Hb_Failure, MOX_create_global_event_handlers());
    EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
}

// ---- Nodes ----

ISOLATED_TEST(NodeLiveness, ADeathTellsAdaptersThenTheNodeThenTheConfiguration) {
    Cluster_Client client;
    client.open();
    client.service.node_down(3);
    const std::vector<Taken> all = client.take_all();
    ASSERT_EQ(3U, all.size());
    EXPECT_EQ(of_adapters(DEATH, "a", {adapter_number(3, 0), adapter_number(3, 1)}), all[0]);
    EXPECT_EQ(of_nodes(DEATH, "n", {3}), all[1]);
    EXPECT_EQ(of_configuration(), all[2]);
    EXPECT_EQ(Hb_Entity_Down, node_state(3));
    EXPECT_EQ(0, client.service.events_out());
    EXPECT_EQ(0, client.service.lists_out());
}

ISOLATED_TEST(NodeLiveness, AReturnTellsTheNodeThenTheConfigurationThenItsAdapters) {
    Cluster_Client client;
    client.service.node_down(3);
    client.open();
    client.service.node_up(3);
    std::vector<Taken> all = client.take_all();
    ASSERT_EQ(3U, all.size());
    all[0].sequence = 0; // the service's own number
    EXPECT_EQ(of_nodes(JOIN, "n", {3}), all[0]);
    EXPECT_EQ(of_configuration(), all[1]);
    EXPECT_EQ(of_adapters(JOIN, "a", {adapter_number(3, 0), adapter_number(3, 1)}), all[2]);
    EXPECT_EQ(Hb_Entity_Up, node_state(3));
}

ISOLATED_TEST(NodeLiveness, OfTheLocalNodeChangesNothing) {
    Cluster_Client client;
    client.open();
    client.service.push("node_liveness", node_event(QZ_ORB_EVENT_DOWN, 1));
    const Taken taken = client.take();
    EXPECT_EQ(Hb_Success, taken.result);
    EXPECT_EQ(0, taken.events);
    EXPECT_EQ("<EMPTY EVENT>", taken.name);
    EXPECT_EQ(Hb_Entity_Up, node_state(1));
    EXPECT_FALSE(client.is_readable());
}

ISOLATED_TEST(NodeLiveness, ThatTheServiceItselfContradictsIsNotTold) {
    Cluster_Client client;
    client.open();
    client.service.push("node_liveness", node_event(QZ_ORB_EVENT_DOWN, 3)); // but it is up
    EXPECT_EQ(0, client.take().events);
    EXPECT_EQ(Hb_Entity_Up, node_state(3));
    EXPECT_FALSE(client.is_readable());
}

ISOLATED_TEST(NodeLiveness, KnownAlreadyIsNotToldAgain) {
    Cluster_Client client;
    client.service.node_down(3);
    client.open();
    client.service.push("node_liveness", node_event(QZ_ORB_EVENT_DOWN, 3));
    EXPECT_EQ(0, client.take().events);
    client.service.push("node_liveness", node_event(QZ_ORB_EVENT_UP, 2));
    EXPECT_EQ(0, client.take().events);
    EXPECT_FALSE(client.is_readable());
}

ISOLATED_TEST(NodeLiveness, OfANodeReportedDeadWithoutAdaptersSwitchesTablesAtOnce) {
    Cluster_Client client;
    client.service.remove_interface(3, "eth0");
    client.service.remove_interface(3, "eth1");
    client.open();
    hb_find_node(global_config_tbl, 3)->state = Hb_Entity_Down;
    hb_find_node(global_config_tbl, 3)->reason = Hb_Entity_State_Reason_KOBAL_Down;
    client.service.node_down(3);
    EXPECT_EQ(of_configuration(), client.take());
    EXPECT_EQ(1, MOX_event_queue_is_empty());
    EXPECT_FALSE(client.is_readable());
}

// ---- Adapters ----

ISOLATED_TEST(AdapterLiveness, IsToldOnceAndSetsTheState) {
    Cluster_Client client;
    client.open();
    client.service.interface_down(2, "eth1");
    EXPECT_EQ(of_adapters(DEATH, "a", {adapter_number(2, 1)}), client.take());
    client.service.push("adapter_liveness", adapter_event(QZ_ORB_EVENT_DOWN, 2, "eth1"));
    EXPECT_EQ(0, client.take().events);
    client.service.interface_up(2, "eth1");
    EXPECT_EQ(of_adapters(JOIN, "a", {adapter_number(2, 1)}), client.take());
    EXPECT_FALSE(client.is_readable());
}

ISOLATED_TEST(AdapterLiveness, OfAnUnknownAdapterTellsNothing) {
    Cluster_Client client;
    client.open();
    client.service.push("adapter_liveness", adapter_event(QZ_ORB_EVENT_DOWN, 2, "eth7"));
    const Taken taken = client.take();
    EXPECT_EQ(Hb_Success, taken.result);
    EXPECT_EQ(0, taken.events);
}

ISOLATED_TEST(AdapterLiveness, AnAddedAdapterIsAChangeOfTheConfigurationAndThenJoins) {
    Cluster_Client client;
    client.open();
    mox_sim::Interface added;
    added.node = 2;
    added.name = "eth2";
    added.address = mox_sim::address_of("10.3.0.2");
    client.service.set(added);
    client.service.push("adapter_liveness", adapter_event(QZ_ORB_EVENT_ADD, 2, "eth2"));
    EXPECT_EQ(of_configuration(), client.take());
    EXPECT_EQ(of_adapters(JOIN, "a", {adapter_number(2, 2)}), client.take());
    int adapters = 0;
    hb_get_number_of_configured_adapters(&adapters);
    EXPECT_EQ(7, adapters);
}

ISOLATED_TEST(AdapterLiveness, ARemovedAdapterDiesAtOnceAndTheConfigurationFollows) {
    Cluster_Client client;
    client.open();
    client.service.remove_interface(3, "eth1");
    client.service.push("adapter_liveness", adapter_event(QZ_ORB_EVENT_DELETE, 3, "eth1"));
    EXPECT_EQ(of_adapters(DEATH, "a", {adapter_number(3, 1)}), client.take());
    EXPECT_EQ(of_configuration(), client.take());
    int adapters = 0;
    hb_get_number_of_configured_adapters(&adapters);
    EXPECT_EQ(5, adapters);
}

// ---- Reading ----

struct Monitor {
    const char *name;
    ORBFSHandler *const *handler;
};
const Monitor MONITORS[] = {{"adapter_liveness", &adapter_event_handler_p},
                            {"node_liveness", &node_liveness_handler_p},
                            {"node_list", &node_list_handler_p},
                            {"peer_gs_liveness", &peer_GS_liveness_handler_p},
                            {"ip_change", &ip_change_handler_p},
                            {"cluster_reconfig", &cluster_reconfig_handler_p},
                            {"site_cfg", &site_config_handler_p}};

ISOLATED_TEST(EveryMonitor, WithoutAnEventSucceedsWithEvents0) {
    Cluster_Client client;
    client.open();
    for (const Monitor &monitor : MONITORS) {
        client.service.push_result(monitor.name, -16, EBUSY);
        const Taken taken = client.take();
        EXPECT_EQ(Hb_Success, taken.result) << monitor.name;
        EXPECT_EQ(0, taken.events) << monitor.name;
        EXPECT_EQ(1, MOX_event_queue_is_empty());
    }
}

ISOLATED_TEST(EveryMonitor, ThatCannotBeReadFailsAndChangesNothing) {
    Cluster_Client client;
    client.open();
    for (const Monitor &monitor : MONITORS) {
        client.service.push_result(monitor.name, -5, ENODEV);
        int events = 9;
        Hb_Name name = "untouched";
        unsigned long sequence = 9;
        set_hb_errno(777);
        errno = 0;
        EXPECT_EQ(Hb_Failure, (*monitor.handler)->handler(&events, name, client.group.get(), &sequence));
        EXPECT_EQ(777, hb_get_errno()) << monitor.name;
        EXPECT_EQ(ENODEV, errno) << monitor.name;
        EXPECT_EQ(9, events);
        EXPECT_STREQ("untouched", name);
        EXPECT_EQ(1, MOX_event_queue_is_empty());
    }
    EXPECT_EQ(-1, static_cast<int>(
                      client.group->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_adapter_list[5]))
        << "the adapter handler marks the slots also then";
}

// ---- The rest ----

ISOLATED_TEST(NodeList, ANewNodeIsAChangeOfTheConfigurationAndThenJoins) {
    Cluster_Client client;
    client.open();
    mox_sim::Node added;
    added.number = 7;
    client.service.set(added);
    Event_Record event = node_event(QZ_ORB_EVENT_ADD, 7);
    event.category = QZ_ORB_EVENT_CATEGORY_NODE_LIST;
    client.service.push("node_list", event);
    EXPECT_EQ(of_configuration(), client.take());
    EXPECT_EQ(of_nodes(JOIN, "n", {7}), client.take());
}

ISOLATED_TEST(Reconfiguration, ReadsEverythingAnew) {
    Cluster_Client client;
    client.open();
    client.service.remove_node(3);
    Event_Record event;
    event.is_reconfiguration = true;
    client.service.push("cluster_reconfig", event);
    EXPECT_EQ(of_adapters(DEATH, "a", {adapter_number(3, 0), adapter_number(3, 1)}), client.take());
    EXPECT_EQ(of_nodes(DEATH, "n", {3}), client.take());
    EXPECT_EQ(of_configuration(), client.take());
    EXPECT_FALSE(client.is_readable());
    int nodes = 0;
    hb_get_number_of_configured_nodes(&nodes);
    EXPECT_EQ(2, nodes);
}

ISOLATED_TEST(AddressChange, IsADeathAndAJoinOfTheAdapter) {
    Cluster_Client client;
    client.open();
    mox_sim::Interface changed;
    changed.node = 2;
    changed.name = "eth0";
    changed.address = mox_sim::address_of("10.1.0.99");
    client.service.set(changed);
    Event_Record event = adapter_event(QZ_ORB_ADDRESS_ADD, 2, "eth0");
    event.category = QZ_ORB_EVENT_CATEGORY_IP_CHANGE;
    event.address = changed.address;
    client.service.push("ip_change", event);
    EXPECT_EQ(of_adapters(DEATH, "a", {adapter_number(2, 0)}), client.take());
    EXPECT_EQ(of_configuration(), client.take());
    EXPECT_EQ(of_adapters(JOIN, "a", {adapter_number(2, 0)}), client.take());
    event.type = QZ_ORB_ADDRESS_CHG;
    client.service.push("ip_change", event);
    EXPECT_EQ(Hb_Failure, client.take().result);
}

ISOLATED_TEST(PeerLiveness, ADaemonsVerdictStandsUntilItsNodeSpeaks) {
    Cluster_Client client;
    client.open();
    Event_Record event = node_event(QZ_ORB_EVENT_DOWN, 2);
    event.category = QZ_ORB_EVENT_CATEGORY_PROCESS_LIVENESS;
    client.service.push("peer_gs_liveness", event);
    EXPECT_EQ(of_nodes(DEATH, "n", {2}), client.take());
    EXPECT_EQ(Hb_Entity_Down, node_state(2));
    EXPECT_EQ(Hb_Success, hb_mox_msg_received_from(2));
    EXPECT_EQ(of_nodes(JOIN, "n", {2}), client.take());
    EXPECT_EQ(Hb_Entity_Up, node_state(2));
    EXPECT_EQ(Hb_Success, hb_mox_msg_received_from(2)); // no change
    EXPECT_EQ(0, client.take().events);
    EXPECT_EQ(1, MOX_event_queue_is_empty());
}

ISOLATED_TEST(Sites, AFailureIsASplitUnlessAMergeIsPending) {
    Cluster_Client client;
    client.open();
    mox_sim::Site local;
    local.number = 1;
    local.priority = 5;
    client.service.set_local_site(local);
    hb_set_name(siteEventSubscriptionName, "s");
    Event_Record event;
    event.category = QZ_ORB_EVENT_CATEGORY_SITE_CFG;
    event.type = QZ_ORB_SITE_DOWN;
    event.node = 3;
    event.site = 2;
    event.local_nodes_up = 2;
    event.remote_nodes_up = 1;
    client.service.push("site_cfg", event);
    Taken taken = client.take();
    EXPECT_EQ(32, taken.events);
    EXPECT_EQ("s", taken.name);
    EXPECT_EQ(Hb_Site_Group, client.group->Hb_group_type);
    EXPECT_EQ(1U, client.group->Hb_membership_grp_union.site_split_info.local_site.site_number);
    EXPECT_EQ(5U, client.group->Hb_membership_grp_union.site_split_info.local_site.site_priority);
    EXPECT_EQ(2U, client.group->Hb_membership_grp_union.site_split_info.remote_site.site_number);
    EXPECT_EQ(3U, client.group->Hb_membership_grp_union.site_split_info.remote_site.node_number);
    local.merge_flag = QZ_MOX_SITE_MERGE_FLAG_MERGE_PENDING;
    client.service.set_local_site(local);
    event.type = QZ_ORB_SITE_UP; // causes another query
    client.service.push("site_cfg", event);
    EXPECT_EQ(0, client.take().events);
    event.type = QZ_ORB_SITE_DOWN;
    client.service.push("site_cfg", event);
    taken = client.take();
    EXPECT_EQ(64, taken.events);
    EXPECT_EQ(2U, client.group->Hb_membership_grp_union.site_merge_info.num_local_up_nodes);
    EXPECT_EQ(1U, client.group->Hb_membership_grp_union.site_merge_info.num_remote_up_nodes);
}

ISOLATED_TEST(Sites, QueriesThatFailAreErrors87And86And88) {
    Cluster_Client client;
    client.open();
    Event_Record event;
    event.category = QZ_ORB_EVENT_CATEGORY_SITE_CFG;
    event.type = QZ_ORB_SITE_DOWN;
    const std::pair<Operation, int> cases[] = {{Operation::get_local_node_uuid, 87},
                                               {Operation::get_local_site_info, 86},
                                               {Operation::get_site_merge_policy, 88}};
    for (const auto &[operation, error] : cases) {
        client.service.fail(operation, -1, EIO);
        client.service.push("site_cfg", event);
        const Taken taken = client.take();
        EXPECT_EQ(Hb_Failure, taken.result);
        EXPECT_EQ(error, taken.error);
        client.service.heal(operation);
    }
    client.service.fail(Operation::get_site_merge_policy, -1, EIO);
    event.type = QZ_ORB_SITE_MODIFY;
    client.service.push("site_cfg", event);
    EXPECT_EQ(87, client.take().error);
}

// ---- Subscribing ----

ISOLATED_TEST(Subscribing, IsAnsweredWithTheGroupAsItStands) {
    Cluster_Client client;
    client.service.node_down(3);
    client.open();
    Hb_Subscription_Group all;
    hb_empty_subscription_group(&all);
    hb_add_all_nodes_to_subscription_group(&all);
    char nodes[] = "nodes";
    ASSERT_EQ(Hb_Success, hb_subscribe(nodes, &all, 7));
    EXPECT_EQ(of_nodes(4, "nodes", {1, 2}), client.take());
    hb_empty_subscription_group(&all);
    hb_add_all_adapters_to_subscription_group(&all);
    char adapters[] = "adapters";
    ASSERT_EQ(Hb_Success, hb_subscribe(adapters, &all, 7));
    EXPECT_EQ(of_adapters(4, "adapters", {48, 49, 96, 97}), client.take());
    EXPECT_FALSE(client.is_readable());
    client.service.fail(Operation::get_node_info, -1, EIO);
    hb_empty_subscription_group(&all);
    hb_add_all_nodes_to_subscription_group(&all);
    ASSERT_EQ(Hb_Success, hb_subscribe(nodes, &all, 7));
    EXPECT_EQ(64, client.take().error);
}

} // namespace
} // namespace hb_test
