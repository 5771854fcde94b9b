// SPDX-License-Identifier: Apache-2.0
// How handlers fill the caller's record, field by field.
#include <cstring>
#include <memory>

#include <gtest/gtest.h>

#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/subscription_names.h"
#include "tests/support/isolated.h"
#include "tests/unit/mox_comparison/tables.h"
#include "tests/unit/tables/trace_spy.h"

namespace hb_test {
namespace {

constexpr unsigned ERRORS = 0;
constexpr unsigned INFO = 1;

// Every byte is 0x5A.
std::unique_ptr<Hb_Group> marked_group() {
    auto group = std::make_unique<Hb_Group>();
    std::memset(group.get(), 0x5A, sizeof *group);
    return group;
}

constexpr int MARKED = 0x5A5A5A5A;

Hb_Node_Membership_Grp &nodes_of(Hb_Group &group) {
    return group.Hb_membership_grp_union.Hb_node_membership_grp;
}

Hb_Adapter_Membership_Grp &adapters_of(Hb_Group &group) {
    return group.Hb_membership_grp_union.Hb_adapter_membership_grp;
}

void set_header(Hb_Group &group, Hb_Group_Type type, int events) {
    group.Hb_group_type = type;
    group.Hb_group_status = Hb_Group_Stable;
    group.Hb_events = events;
    group.Hb_cursor = 33;
    std::strcpy(group.Hb_ffdc_id, "other");
}

void expect_header(const Hb_Group &group, Hb_Group_Type type, int events) {
    EXPECT_EQ(type, group.Hb_group_type);
    EXPECT_EQ(Hb_Group_Stable, group.Hb_group_status);
    EXPECT_EQ(events, group.Hb_events);
    EXPECT_EQ(MARKED, group.Hb_cursor);
    EXPECT_EQ(0x5A, group.Hb_ffdc_id[0]);
    EXPECT_EQ(0x5A, group.Hb_ffdc_id[4]);
}

// ---- Filling ----

ISOLATED_TEST(FillNode, MarksTheOneNodeInAClearedList) {
    Any_Handler handler;
    hb_set_name(nodeEventSubscriptionName, "nodes");
    const auto group = marked_group();
    char name[HB_NAME_SIZE] = {};
    handler.fillInNodeEventInfo(2048, 2, name, group.get());
    EXPECT_STREQ("nodes", name);
    expect_header(*group, Hb_Node_Group, 2);
    EXPECT_EQ(1, nodes_of(*group).Hb_num_nodes);
    for (int node = 0; node < 2049; ++node) {
        ASSERT_EQ(node == 2048 ? 1 : 0, nodes_of(*group).Hb_node_list[node]) << node;
    }
}

ISOLATED_TEST(FillNode, WithoutASubscriptionIsAnEmptyNameAndAnErrorAndStillFilled) {
    Any_Handler handler;
    const auto group = marked_group();
    char name[HB_NAME_SIZE] = {};
    const Trace_Spy spy(1, 0, 0);
    handler.fillInNodeEventInfo(7, 1, name, group.get());
    EXPECT_STREQ("<EMPTY EVENT>", name);
    expect_header(*group, Hb_Node_Group, 1);
    EXPECT_EQ(Hb_True, nodes_of(*group).Hb_node_list[7]);
    ASSERT_EQ(1U, spy.records().size());
    EXPECT_EQ(ERRORS, spy.records()[0].category);
}

ISOLATED_TEST(FillNode, WithoutAGroupGivesTheNameAndAnError) {
    Any_Handler handler;
    hb_set_name(nodeEventSubscriptionName, "nodes");
    char name[HB_NAME_SIZE] = {};
    const Trace_Spy spy(1, 0, 0);
    handler.fillInNodeEventInfo(7, 1, name, nullptr);
    EXPECT_STREQ("nodes", name);
    ASSERT_EQ(1U, spy.records().size());
    EXPECT_EQ(ERRORS, spy.records()[0].category);
}

ISOLATED_TEST(FillAdapter, FillsTheHeaderAndLeavesTheMembers) {
    Any_Handler handler;
    hb_set_name(networkEventSubscriptionName, "adapters");
    const auto group = marked_group();
    char name[HB_NAME_SIZE] = {};
    int events = 2;
    unsigned long length = 55;
    handler.fillInOneAdapterEvent(&events, name, group.get(), &length);
    EXPECT_STREQ("adapters", name);
    EXPECT_EQ(2, events);
    EXPECT_EQ(0UL, length);
    expect_header(*group, Hb_Adapter_Group, 2);
    EXPECT_EQ(0xFFFFFFFFU, adapters_of(*group).Hb_group_leader);
    EXPECT_EQ(0xFFFFFFFFU, adapters_of(*group).Hb_group_incarnation);
    EXPECT_EQ(MARKED, adapters_of(*group).Hb_num_adapters);
    EXPECT_EQ(0x5A5A5A5AU, adapters_of(*group).Hb_adapter_list[0]);
}

ISOLATED_TEST(FillAdapter, WithoutASubscriptionTellsNothingAndFillsThat) {
    Any_Handler handler;
    const auto group = marked_group();
    char name[HB_NAME_SIZE] = {};
    int events = 2;
    unsigned long length = 55;
    const Trace_Spy spy(1, 1, 0);
    handler.fillInOneAdapterEvent(&events, name, group.get(), &length);
    EXPECT_STREQ("<EMPTY EVENT>", name);
    EXPECT_EQ(0, events);
    EXPECT_EQ(0UL, length);
    expect_header(*group, Hb_Adapter_Group, 0);
    ASSERT_EQ(1U, spy.records().size());
    EXPECT_EQ(INFO, spy.records()[0].category);
}

ISOLATED_TEST(FillAdapter, WithoutAGroupIsAnErrorAndTheLengthIsStillZero) {
    Any_Handler handler;
    hb_set_name(networkEventSubscriptionName, "adapters");
    char name[HB_NAME_SIZE] = {};
    int events = 2;
    unsigned long length = 55;
    const Trace_Spy spy(1, 1, 0);
    handler.fillInOneAdapterEvent(&events, name, nullptr, &length);
    EXPECT_EQ(2, events);
    EXPECT_EQ(0UL, length);
    ASSERT_EQ(1U, spy.records().size());
    EXPECT_EQ(ERRORS, spy.records()[0].category);
}

TEST(FillSite, DoesNothing) {
    Any_Handler handler;
    const auto group = marked_group();
    const auto before = marked_group();
    char name[HB_NAME_SIZE] = "name";
    handler.fillInSiteEventInfo(1, 32, name, group.get());
    EXPECT_EQ(0, std::memcmp(before.get(), group.get(), sizeof(Hb_Group)));
    EXPECT_STREQ("name", name);
}

// ---- Copying ----

TEST(CopyNodes, TakesTheWholeListAndTheHeader) {
    Any_Handler handler;
    const auto from = marked_group();
    const auto to = marked_group();
    set_header(*from, Hb_Node_Group, 2);
    nodes_of(*from).Hb_num_nodes = 2;
    for (int node = 0; node < 2049; ++node) {
        nodes_of(*from).Hb_node_list[node] = node % 1024 == 1000 ? Hb_True : Hb_False;
    }
    handler.copy_node_Hb_Group(from.get(), to.get());
    expect_header(*to, Hb_Node_Group, 2);
    EXPECT_EQ(2, nodes_of(*to).Hb_num_nodes);
    for (int node = 0; node < 2049; ++node) {
        ASSERT_EQ(node % 1024 == 1000 ? 1 : 0, nodes_of(*to).Hb_node_list[node]) << node;
    }
}

TEST(CopyAdapters, TakesAsManyAsTheLiveTableHasRoomFor) {
    Any_Handler handler;
    const auto from = marked_group();
    const auto to = marked_group();
    set_header(*from, Hb_Adapter_Group, 1);
    adapters_of(*from).Hb_group_leader = 11;
    adapters_of(*from).Hb_group_incarnation = 12;
    adapters_of(*from).Hb_num_adapters = 13;
    for (Hb_Incarnation &entry : adapters_of(*from).Hb_adapter_list) {
        entry = 7;
    }
    global_config_tbl.Hb_max_nodes = 5;
    global_config_tbl.Hb_adapters_per_node = 4;
    handler.copy_adapter_Hb_Group(from.get(), to.get());
    global_config_tbl.Hb_max_nodes = 0;
    global_config_tbl.Hb_adapters_per_node = 0;
    expect_header(*to, Hb_Adapter_Group, 1);
    EXPECT_EQ(11U, adapters_of(*to).Hb_group_leader);
    EXPECT_EQ(12U, adapters_of(*to).Hb_group_incarnation);
    EXPECT_EQ(13, adapters_of(*to).Hb_num_adapters);
    EXPECT_EQ(7U, adapters_of(*to).Hb_adapter_list[19]);
    EXPECT_EQ(0x5A5A5A5AU, adapters_of(*to).Hb_adapter_list[20]);
}

void number_words(Hb_Site_Info &site, uint32_t first) {
    static_assert(sizeof site == 68);
    uint32_t words[17];
    for (uint32_t i = 0; i < 17; ++i) {
        words[i] = first + i;
    }
    std::memcpy(&site, words, sizeof site);
}

// The node's number is the fifth of the 17 words.
void expect_words(const Hb_Site_Info &site, uint32_t first, bool with_node_number) {
    uint32_t words[17];
    std::memcpy(words, &site, sizeof words);
    for (uint32_t i = 0; i < 17; ++i) {
        EXPECT_EQ(i == 4 && !with_node_number ? 0x5A5A5A5AU : first + i, words[i]) << "word " << i;
    }
}

TEST(CopySites, OfAMergeTakesAllButTheLocalNodesNumber) {
    Any_Handler handler;
    const auto from = marked_group();
    const auto to = marked_group();
    set_header(*from, Hb_Site_Group, 64);
    site_merge_info &merge = from->Hb_membership_grp_union.site_merge_info;
    merge.num_local_up_nodes = 3;
    merge.num_remote_up_nodes = 4;
    number_words(merge.local_site, 100);
    number_words(merge.remote_site, 200);
    handler.copy_site_merge_Hb_Group(from.get(), to.get());
    expect_header(*to, Hb_Site_Group, 64);
    const site_merge_info &copied = to->Hb_membership_grp_union.site_merge_info;
    EXPECT_EQ(3U, copied.num_local_up_nodes);
    EXPECT_EQ(4U, copied.num_remote_up_nodes);
    expect_words(copied.local_site, 100, false);
    expect_words(copied.remote_site, 200, true);
}

TEST(CopySites, OfASplitTakesAllButTheLocalNodesNumber) {
    Any_Handler handler;
    const auto from = marked_group();
    const auto to = marked_group();
    set_header(*from, Hb_Site_Group, 32);
    site_split_info &split = from->Hb_membership_grp_union.site_split_info;
    number_words(split.local_site, 100);
    number_words(split.remote_site, 200);
    handler.copy_site_split_Hb_Group(from.get(), to.get());
    expect_header(*to, Hb_Site_Group, 32);
    expect_words(to->Hb_membership_grp_union.site_split_info.local_site, 100, false);
    expect_words(to->Hb_membership_grp_union.site_split_info.remote_site, 200, true);
}

TEST(Copies, WithoutEitherGroupAreTracedAndDoNothing) {
    Any_Handler handler;
    using Copy = void (ORBFSHandler::*)(Hb_Group *, Hb_Group *);
    for (const Copy copy : {&ORBFSHandler::copy_node_Hb_Group, &ORBFSHandler::copy_adapter_Hb_Group,
                            &ORBFSHandler::copy_site_merge_Hb_Group, &ORBFSHandler::copy_site_split_Hb_Group}) {
        const auto group = marked_group();
        const auto before = marked_group();
        const Trace_Spy spy(1, 1, 0);
        (handler.*copy)(nullptr, group.get());
        (handler.*copy)(group.get(), nullptr);
        EXPECT_EQ(0, std::memcmp(before.get(), group.get(), sizeof(Hb_Group)));
        ASSERT_EQ(2U, spy.records().size());
        EXPECT_EQ(INFO, spy.records()[0].category);
        EXPECT_EQ(INFO, spy.records()[1].category);
    }
}

} // namespace
} // namespace hb_test
