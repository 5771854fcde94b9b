// SPDX-License-Identifier: Apache-2.0
// Sites that split and merge, and the stored data of the local site.
#include <cerrno>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/hb_global_data/subscription_names.h"
#include "lib/mox/handlers/MOX_ORBFSSiteConfigEventHandler.h"
#include "lib/mox/handlers/process_handlers.h"
#include "tests/support/bytes.h"
#include "tests/support/isolated.h"
#include "tests/unit/cluster_events/cluster.h"
#include "tests/unit/mox_handlers/handler_call.h"

namespace hb_test {
namespace {

using mox_sim::Operation;
using testing::ElementsAre;
using testing::IsEmpty;

struct Sites {
    Sites() {
        client.open();
        hb_set_name(siteEventSubscriptionName, "s");
        local.number = 1;
        local.id = {0x8182838485868788, 0x9192939495969798};
        local.priority = 5;
        local.policy = QZ_MOX_SITE_POLICY_PRIORITY;
        client.service.set_local_site(local);
        client.service.set_local_uuid({0x1112131415161718, 0x2122232425262728});
        client.service.set_merge_policy(QZ_MOX_SITE_POLICY_MANUAL);
    }

    mox_sim::Event_Record record(qz_orb_event_type_t type) const {
        mox_sim::Event_Record record;
        record.category = QZ_ORB_EVENT_CATEGORY_SITE_CFG;
        record.type = type;
        record.node = 3;
        record.site = 2;
        record.site_priority = 9;
        record.site_policy = QZ_MOX_SITE_POLICY_HEURISTIC;
        record.node_id = {0x3132333435363738, 0x4142434445464748};
        record.site_id = {0x5152535455565758, 0x6162636465666768};
        record.cluster_id = {0x7172737475767778, 0x0102030405060708};
        record.local_nodes_up = 4;
        record.remote_nodes_up = 6;
        record.site_reason = QZ_ORB_SITE_REASON_RESYNC_SITES;
        return record;
    }
    Hb_Rc push(qz_orb_event_type_t type) {
        client.service.push("site_cfg", record(type));
        return call.run(site_config_handler_p);
    }
    void set_merge_flag(qz_mox_site_merge_flag_t flag) {
        local.merge_flag = flag;
        client.service.set_local_site(local);
    }
    std::vector<int> asked() const {
        return {client.service.calls(Operation::get_local_node_uuid),
                client.service.calls(Operation::get_local_site_info),
                client.service.calls(Operation::get_site_merge_policy)};
    }

    Cluster_Client client;
    Handler_Call call;
    mox_sim::Site local;
};

// The two sides as stored in the record: identifiers low byte first, in two halves.
Bytes uuid(const Bytes &high, const Bytes &low) {
    return Bytes().add(high).add(low);
}
Bytes local_side(int merge_flag) {
    return uuid({0x18, 0x17, 0x16, 0x15, 0x14, 0x13, 0x12, 0x11},
                {0x28, 0x27, 0x26, 0x25, 0x24, 0x23, 0x22, 0x21})
        .i32(1) // node
        .add(uuid({0x88, 0x87, 0x86, 0x85, 0x84, 0x83, 0x82, 0x81},
                  {0x98, 0x97, 0x96, 0x95, 0x94, 0x93, 0x92, 0x91}))
        .i32(1) // site
        .i32(5) // priority
        .i32(3) // merge policy
        .i32(merge_flag)
        .add(uuid({0x78, 0x77, 0x76, 0x75, 0x74, 0x73, 0x72, 0x71}, {8, 7, 6, 5, 4, 3, 2, 1}));
}
Bytes remote_side() {
    return uuid({0x38, 0x37, 0x36, 0x35, 0x34, 0x33, 0x32, 0x31},
                {0x48, 0x47, 0x46, 0x45, 0x44, 0x43, 0x42, 0x41})
        .i32(3)
        .add(uuid({0x58, 0x57, 0x56, 0x55, 0x54, 0x53, 0x52, 0x51},
                  {0x68, 0x67, 0x66, 0x65, 0x64, 0x63, 0x62, 0x61}))
        .i32(2)
        .i32(9)
        .i32(2)
        .i32(0)
        .add(uuid({0x78, 0x77, 0x76, 0x75, 0x74, 0x73, 0x72, 0x71}, {8, 7, 6, 5, 4, 3, 2, 1}));
}
constexpr std::size_t UNION = 60;

ISOLATED_TEST(SiteHandler, DownIsASplitWithBothSides) {
    for (const qz_mox_site_merge_flag_t flag :
         {QZ_MOX_SITE_MERGE_FLAG_NOPER_PENDING, QZ_MOX_SITE_MERGE_FLAG_RBOOT_PENDING}) {
        Sites sites;
        sites.set_merge_flag(flag);
        EXPECT_EQ(Hb_Success, sites.push(QZ_ORB_SITE_DOWN));
        EXPECT_EQ(32, sites.call.events);
        EXPECT_EQ("s", sites.call.name);
        EXPECT_EQ(0U, sites.call.sequence);
        EXPECT_EQ(4, sites.call.group->Hb_group_type);
        EXPECT_EQ(32, sites.call.group->Hb_events);
        EXPECT_EQ(0, sites.call.group->Hb_group_status);
        EXPECT_TRUE(
            same_bytes(local_side(flag).add(remote_side()), bytes_of(*sites.call.group).part(UNION, 2 * 68)));
        EXPECT_THAT(queued(), IsEmpty());
    }
}

ISOLATED_TEST(SiteHandler, DownWhileAMergeIsPendingIsAMergeWithBothSidesAndTheirNodes) {
    Sites sites;
    sites.set_merge_flag(QZ_MOX_SITE_MERGE_FLAG_MERGE_PENDING);
    EXPECT_EQ(Hb_Success, sites.push(QZ_ORB_SITE_DOWN));
    EXPECT_EQ(64, sites.call.events);
    EXPECT_EQ("s", sites.call.name);
    EXPECT_EQ(4, sites.call.group->Hb_group_type);
    EXPECT_EQ(64, sites.call.group->Hb_events);
    EXPECT_EQ(0, sites.call.group->Hb_group_status);
    EXPECT_EQ(0U, sites.call.sequence);
    EXPECT_THAT(queued(), IsEmpty());
    EXPECT_TRUE(same_bytes(Bytes().i32(4).i32(6).add(local_side(2)).add(remote_side()),
                           bytes_of(*sites.call.group).part(UNION, 8 + 2 * 68)));
}

ISOLATED_TEST(SiteHandler, WithoutASubscriptionTheGroupIsFilledAndNothingTold) {
    Sites sites;
    hb_set_name(siteEventSubscriptionName, "");
    const Trace_Spy spy(0, 1, 0);
    EXPECT_EQ(Hb_Success, sites.push(QZ_ORB_SITE_DOWN));
    EXPECT_EQ(0, sites.call.events);
    EXPECT_EQ("<EMPTY EVENT>", sites.call.name);
    EXPECT_EQ(4, sites.call.group->Hb_group_type);
    EXPECT_NE(nullptr, traced(spy, 207));
}

ISOLATED_TEST(SiteHandler, TracesTheFieldsOfUpAndDown) {
    for (const auto &[type, id] :
         {std::pair<qz_orb_event_type_t, uint32_t>{QZ_ORB_SITE_UP, 205}, {QZ_ORB_SITE_DOWN, 204}}) {
        Sites sites;
        const Trace_Spy spy(0, 1, 0);
        EXPECT_EQ(Hb_Success, sites.push(type));
        ASSERT_NE(nullptr, traced(spy, id));
        EXPECT_THAT(traced(spy, id)->values, ElementsAre(3, 2, 9, 2, 4, 6, 1));
        EXPECT_EQ(nullptr, traced(spy, 204 + 205 - id));
    }
}

ISOLATED_TEST(SiteHandler, KnowsNothingAtFirst) {
    Sites sites;
    alignas(ORBFSSiteConfigEventHandler) unsigned char place[sizeof(ORBFSSiteConfigEventHandler)];
    for (volatile unsigned char &byte : place) { // keeps the compiler from omitting the overwriting
        byte = 0x5A;
    }
    char monitor[] = "site_cfg";
    auto *handler = new (place) ORBFSSiteConfigEventHandler(monitor);
    EXPECT_TRUE(same_bytes(Bytes().zeros(16), bytes_of(handler->cached_local_node_uuid)));
    EXPECT_TRUE(
        same_bytes(Bytes().zeros(sizeof(qz_mox_site_info_t)), bytes_of(handler->cached_local_site_info)));
    EXPECT_EQ(0, handler->cached_site_merge_policy);
    EXPECT_FALSE(handler->cached_local_node_uuid_obtained);
    EXPECT_FALSE(handler->cached_local_site_info_obtained);
    EXPECT_FALSE(handler->cached_site_merge_policy_obtained);
    handler->~ORBFSSiteConfigEventHandler();
}

ISOLATED_TEST(SiteHandler, AsksOnceAndRemembers) {
    Sites sites;
    const auto *handler = static_cast<ORBFSSiteConfigEventHandler *>(site_config_handler_p);
    EXPECT_FALSE(handler->cached_local_node_uuid_obtained);
    EXPECT_FALSE(handler->cached_local_site_info_obtained);
    EXPECT_FALSE(handler->cached_site_merge_policy_obtained);
    EXPECT_EQ(Hb_Success, sites.push(QZ_ORB_SITE_DOWN));
    EXPECT_EQ(Hb_Success, sites.push(QZ_ORB_SITE_DOWN));
    EXPECT_THAT(sites.asked(), ElementsAre(1, 1, 1));
    EXPECT_TRUE(handler->cached_local_node_uuid_obtained);
    EXPECT_TRUE(handler->cached_local_site_info_obtained);
    EXPECT_TRUE(handler->cached_site_merge_policy_obtained);
    EXPECT_EQ(1U, handler->cached_local_site_info.site_number);
    EXPECT_EQ(nullptr, handler->cached_local_site_info.p_name) << "the service's name may not last";
    EXPECT_EQ(3, handler->cached_site_merge_policy);
}

ISOLATED_TEST(SiteHandler, EachQueryThatFailsHasItsNumberAndWhatWasToldStays) {
    Sites sites;
    const std::tuple<Operation, int, uint32_t> cases[] = {{Operation::get_local_node_uuid, 87, 1},
                                                          {Operation::get_local_site_info, 86, 2},
                                                          {Operation::get_site_merge_policy, 88, 3}};
    for (const auto &[operation, number, position] : cases) {
        sites.client.service.fail(operation, -1, EIO);
        const Trace_Spy spy(0, 1, 0);
        EXPECT_EQ(Hb_Failure, sites.push(QZ_ORB_SITE_DOWN));
        EXPECT_EQ(number, sites.call.error);
        ASSERT_NE(nullptr, traced(spy, 206));
        EXPECT_THAT(traced(spy, 206)->values, ElementsAre(position, EIO, static_cast<uint32_t>(number)));
        EXPECT_EQ(0, sites.call.events);
        EXPECT_TRUE(sites.call.group_is_untouched());
        sites.client.service.heal(operation);
    }
    EXPECT_EQ(Hb_Success, sites.push(QZ_ORB_SITE_DOWN));
    EXPECT_THAT(sites.asked(), ElementsAre(2, 2, 2)) << "what had been told is not asked again";
}

ISOLATED_TEST(SiteHandler, UpAndModifyAskAgain) {
    for (const qz_orb_event_type_t type : {QZ_ORB_SITE_UP, QZ_ORB_SITE_MODIFY}) {
        Sites sites;
        ASSERT_EQ(Hb_Success, sites.push(QZ_ORB_SITE_DOWN));
        sites.set_merge_flag(QZ_MOX_SITE_MERGE_FLAG_MERGE_PENDING);
        EXPECT_EQ(Hb_Success, sites.push(type));
        EXPECT_EQ(0, sites.call.events);
        EXPECT_EQ("<EMPTY EVENT>", sites.call.name);
        EXPECT_THAT(sites.asked(), ElementsAre(2, 2, 2));
        EXPECT_EQ(Hb_Success, sites.push(QZ_ORB_SITE_DOWN));
        EXPECT_EQ(64, sites.call.events);
        EXPECT_THAT(sites.asked(), ElementsAre(2, 2, 2));
    }
}

ISOLATED_TEST(SiteHandler, AskingAgainInVainIsError87AndForgetsWhatWasKnown) {
    for (const Operation operation :
         {Operation::get_local_node_uuid, Operation::get_local_site_info, Operation::get_site_merge_policy}) {
        Sites sites;
        ASSERT_EQ(Hb_Success, sites.push(QZ_ORB_SITE_DOWN));
        sites.set_merge_flag(QZ_MOX_SITE_MERGE_FLAG_MERGE_PENDING);
        sites.client.service.fail(operation, -1, EIO);
        EXPECT_EQ(Hb_Failure, sites.push(QZ_ORB_SITE_MODIFY));
        EXPECT_EQ(87, sites.call.error);
        sites.client.service.heal(operation);
        EXPECT_EQ(Hb_Success, sites.push(QZ_ORB_SITE_DOWN));
        EXPECT_EQ(64, sites.call.events) << "not decided by what was known before";
    }
}

ISOLATED_TEST(SiteHandler, OtherTypesTellNothingAndAskNothing) {
    for (const qz_orb_event_type_t type : std::initializer_list<qz_orb_event_type_t>{
             QZ_ORB_SITE_ADD, QZ_ORB_SITE_DELETE, QZ_ORB_SITE_MERGE, 99}) {
        Sites sites;
        EXPECT_EQ(Hb_Success, sites.push(type));
        EXPECT_EQ(0, sites.call.events);
        EXPECT_EQ("<EMPTY EVENT>", sites.call.name);
        EXPECT_TRUE(sites.call.group_is_untouched());
        EXPECT_THAT(sites.asked(), ElementsAre(0, 0, 0));
    }
}

} // namespace
} // namespace hb_test
