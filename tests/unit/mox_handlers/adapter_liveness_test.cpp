// SPDX-License-Identifier: Apache-2.0
// Adapters that come up, go down, are added and are removed.
#include <algorithm>
#include <cerrno>
#include <cstring>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/hb_global_data/subscription_names.h"
#include "lib/mox/handlers/process_handlers.h"
#include "tests/support/isolated.h"
#include "tests/unit/cluster_events/cluster.h"
#include "tests/unit/mox_handlers/handler_call.h"

namespace hb_test {
namespace {

using mox_sim::Operation;
using testing::ElementsAre;
using testing::IsEmpty;

struct Adapters {
    Adapters() { client.open(); }

    Hb_Rc push(qz_orb_event_type_t type, uint32_t node, const std::string &interface) {
        client.service.push("adapter_liveness", adapter_record(type, node, interface));
        return call.run(adapter_event_handler_p);
    }
    void expect_group(int events, const std::vector<unsigned> &members) {
        EXPECT_EQ(1, call.group->Hb_group_type);
        EXPECT_EQ(0, call.group->Hb_group_status);
        EXPECT_EQ(events, call.group->Hb_events);
        EXPECT_EQ(0xFFFFFFFFU, call.group->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_group_leader);
        EXPECT_EQ(0xFFFFFFFFU,
                  call.group->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_group_incarnation);
        EXPECT_EQ(static_cast<int>(members.size()), call.adapter_count());
        EXPECT_EQ(members, call.adapters());
        EXPECT_EQ(0U, call.sequence);
        EXPECT_THAT(queued(), IsEmpty());
    }

    Cluster_Client client;
    Handler_Call call;
};

ISOLATED_TEST(AdapterHandler, MarksAllSlotsAlsoWhenItCannotRead) {
    Adapters adapters;
    adapters.client.service.push_result("adapter_liveness", -5, EIO);
    EXPECT_EQ(Hb_Failure, adapters.call.run(adapter_event_handler_p));
    for (unsigned adapter = 0; adapter < 98352; ++adapter) {
        ASSERT_EQ(0xFFFFFFFFU, adapters.call.slot(adapter)) << adapter;
    }
    EXPECT_TRUE(adapters.call.header_is_untouched());
    EXPECT_EQ(0x5A5A5A5A, adapters.call.adapter_count());
}

ISOLATED_TEST(AdapterHandler, DownOfAnAdapterThatIsUpIsADeath) {
    Adapters adapters;
    EXPECT_EQ(Hb_Success, adapters.push(QZ_ORB_EVENT_DOWN, 2, "eth1"));
    EXPECT_EQ(DEATH, adapters.call.events);
    EXPECT_EQ("a", adapters.call.name);
    adapters.expect_group(DEATH, {97});
    EXPECT_EQ(Hb_Entity_Down, state_of_adapter(97));
    EXPECT_EQ(Hb_Entity_Up, state_of_adapter(49)) << "the same interface of another node";
}

ISOLATED_TEST(AdapterHandler, UpOfAnAdapterThatIsNotUpIsAJoin) {
    Adapters adapters;
    ASSERT_EQ(Hb_Success, adapters.push(QZ_ORB_EVENT_DOWN, 2, "eth1"));
    EXPECT_EQ(Hb_Success, adapters.push(QZ_ORB_EVENT_UP, 2, "eth1"));
    EXPECT_EQ(JOIN, adapters.call.events);
    adapters.expect_group(JOIN, {97});
    EXPECT_EQ(Hb_Entity_Up, state_of_adapter(97));
}

ISOLATED_TEST(AdapterHandler, AnAdapterInThatStateAlreadyIsLeftAndTraced) {
    Adapters adapters;
    const Trace_Spy spy(0, 1, 0);
    EXPECT_EQ(Hb_Success, adapters.push(QZ_ORB_EVENT_UP, 2, "eth1"));
    EXPECT_EQ(0, adapters.call.events);
    adapters.expect_group(0, {});
    ASSERT_NE(nullptr, traced(spy, 223));
    EXPECT_THAT(traced(spy, 223)->values, ElementsAre(97, 1));
    ASSERT_EQ(Hb_Success, adapters.push(QZ_ORB_EVENT_DOWN, 2, "eth1"));
    ASSERT_NE(nullptr, traced(spy, 224));
    EXPECT_THAT(traced(spy, 224)->values, ElementsAre(97, 2));
    EXPECT_EQ(Hb_Success, adapters.push(QZ_ORB_EVENT_DOWN, 2, "eth1"));
    EXPECT_EQ(0, adapters.call.events);
}

ISOLATED_TEST(AdapterHandler, AnyOtherTypeIsADown) {
    Adapters adapters;
    EXPECT_EQ(Hb_Success, adapters.push(QZ_ORB_CAP_UP, 2, "eth1"));
    EXPECT_EQ(DEATH, adapters.call.events);
    EXPECT_EQ(Hb_Entity_Down, state_of_adapter(97));
}

ISOLATED_TEST(AdapterHandler, AnUnknownAdapterGivesEvents0) {
    for (const auto &[node, interface] : {std::pair<uint32_t, const char *>{2, "eth7"},
                                          {7, "eth0"},
                                          {2049, "eth0"},
                                          {0xFFFFFFFF, "eth0"},
                                          {2, ""}}) {
        Adapters adapters;
        EXPECT_EQ(Hb_Success, adapters.push(QZ_ORB_EVENT_DOWN, node, interface));
        EXPECT_EQ(0, adapters.call.events);
        EXPECT_EQ("a", adapters.call.name);
        adapters.expect_group(0, {});
    }
}

Hb_Adapter_Entry &live_adapter(unsigned number) {
    return *std::find_if(global_config_tbl.Hb_global_adapter_list,
                         global_config_tbl.Hb_global_adapter_list + global_config_tbl.Hb_num_adapters,
                         [&](const Hb_Adapter_Entry &entry) { return entry.Hb_adapter_num == number; });
}

ISOLATED_TEST(AdapterHandler, OfTwoInterfacesOfOneNameTheFirstIsMeant) {
    Adapters adapters;
    std::strcpy(live_adapter(97).Hb_adapter_type, "eth0");
    EXPECT_EQ(Hb_Success, adapters.push(QZ_ORB_EVENT_DOWN, 2, "eth0"));
    EXPECT_EQ(DEATH, adapters.call.events);
    adapters.expect_group(DEATH, {96});
    EXPECT_EQ(Hb_Entity_Up, state_of_adapter(97));
    EXPECT_EQ(Hb_Success, adapters.push(QZ_ORB_EVENT_DOWN, 2, "eth0"));
    EXPECT_EQ(0, adapters.call.events) << "the second is not looked for";
    EXPECT_EQ(Hb_Entity_Up, state_of_adapter(97));
}

ISOLATED_TEST(AdapterHandler, AnEventWithoutAnInterfaceNameIsOfTheOneWithoutAName) {
    Adapters adapters;
    mox_sim::Event_Record record = adapter_record(QZ_ORB_EVENT_DOWN, 2, "");
    record.has_name = false;
    adapters.client.service.push("adapter_liveness", record);
    EXPECT_EQ(Hb_Success, adapters.call.run(adapter_event_handler_p));
    EXPECT_EQ(0, adapters.call.events);
    adapters.expect_group(0, {});
    live_adapter(97).Hb_adapter_type[0] = '\0';
    adapters.client.service.push("adapter_liveness", record);
    EXPECT_EQ(Hb_Success, adapters.call.run(adapter_event_handler_p));
    EXPECT_EQ(DEATH, adapters.call.events);
    adapters.expect_group(DEATH, {97});
}

ISOLATED_TEST(AdapterHandler, AnInterfaceNameIsComparedWhole) {
    const std::string longest(35, 'e');
    Adapters adapters;
    std::strcpy(live_adapter(97).Hb_adapter_type, longest.c_str());
    for (const std::string &other : {longest + "e", longest + longest, longest.substr(1)}) {
        EXPECT_EQ(Hb_Success, adapters.push(QZ_ORB_EVENT_DOWN, 2, other));
        EXPECT_EQ(0, adapters.call.events) << other;
        EXPECT_EQ(Hb_Entity_Up, state_of_adapter(97));
    }
    EXPECT_EQ(Hb_Success, adapters.push(QZ_ORB_EVENT_DOWN, 2, longest));
    EXPECT_EQ(DEATH, adapters.call.events);
    EXPECT_EQ(Hb_Entity_Down, state_of_adapter(97));
}

ISOLATED_TEST(AdapterHandler, ATableWithoutAdapterSlotsHasNoAdapters) {
    Adapters adapters;
    global_config_tbl.Hb_adapters_per_node = 0;
    EXPECT_EQ(Hb_Success, adapters.push(QZ_ORB_EVENT_DOWN, 2, "eth1"));
    EXPECT_EQ(0, adapters.call.events);
    EXPECT_EQ("a", adapters.call.name);
    EXPECT_EQ(0, adapters.call.adapter_count());
    EXPECT_EQ(0x5A5A5A5AU, adapters.call.slot(0)) << "no slot is marked";
    EXPECT_EQ(Hb_Entity_Up, state_of_adapter(97));
}

ISOLATED_TEST(AdapterHandler, WithoutASubscriptionTheStateChangesAndNothingIsTold) {
    Adapters adapters;
    hb_set_name(networkEventSubscriptionName, "");
    EXPECT_EQ(Hb_Success, adapters.push(QZ_ORB_EVENT_DOWN, 2, "eth1"));
    EXPECT_EQ(0, adapters.call.events);
    EXPECT_EQ("<EMPTY EVENT>", adapters.call.name);
    EXPECT_EQ(0, adapters.call.group->Hb_events);
    EXPECT_EQ(Hb_Entity_Down, state_of_adapter(97));
}

ISOLATED_TEST(AdapterHandler, AddedAndRemovedAdaptersRunTheUpdateWithTheEvent) {
    for (const qz_orb_event_type_t type : {QZ_ORB_EVENT_ADD, QZ_ORB_EVENT_DELETE}) {
        Adapters adapters;
        const int plain = adapters.client.service.calls(Operation::get_net_intf_info);
        EXPECT_EQ(Hb_Success, adapters.push(type, 2, "eth1"));
        EXPECT_EQ(CONFIG, adapters.call.events);
        EXPECT_EQ("Hb_Config_Group", adapters.call.name);
        EXPECT_EQ(1, adapters.client.service.calls(Operation::get_net_intf_info_after_event));
        EXPECT_EQ(plain, adapters.client.service.calls(Operation::get_net_intf_info));
        EXPECT_EQ(0, adapters.client.service.calls(Operation::get_node_info_after_event));
    }
}

ISOLATED_TEST(AdapterHandler, AnUpdateThatFailsIsTracedAndItsResultReturned) {
    Adapters adapters;
    const Mute_Event_Pipe mute;
    adapters.client.service.remove_interface(2, "eth1");
    const Trace_Spy spy(0, 1, 0);
    EXPECT_EQ(Hb_Failure, adapters.push(QZ_ORB_EVENT_DELETE, 2, "eth1"));
    EXPECT_EQ(59, adapters.call.error);
    ASSERT_NE(nullptr, traced(spy, 227));
    EXPECT_THAT(traced(spy, 227)->values, ElementsAre(3));
}

} // namespace
} // namespace hb_test
