// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <cstring>

#include "cluster_fixture.h"
#include "lib/api/hb_membership.h"
#include "lib/api/session.h"
#include "lib/base/error_number.h"
#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/group_record.h"
#include "trace_spy.h"

namespace {

class Membership : public Cluster_Test {
  protected:
    Membership() : group_(std::make_unique<Hb_Group>()) {}

    // Nodes 1 and 3 of four, and a stray member beyond all node numbers.
    Hb_Group *node_group() {
        std::memset(group_.get(), 0, sizeof *group_);
        group_->Hb_group_type = 0;
        nodes()[1] = 1;
        nodes()[3] = 1;
        nodes()[4] = 1;
        return group_.get();
    }

    // Adapters 3 (removed) and 9, led by 9 at group incarnation 700.
    Hb_Group *adapter_group(Hb_Events events = 4) {
        std::memset(group_.get(), 0xFF, sizeof *group_);
        group_->Hb_group_type = 1;
        group_->Hb_events = events;
        group_->Hb_group_status = 0;
        group_->Hb_ffdc_id[0] = '\0';
        auto &adapters = group_->Hb_membership_grp_union.Hb_adapter_membership_grp;
        adapters.Hb_num_adapters = 2;
        adapters.Hb_group_leader = 9;
        adapters.Hb_group_incarnation = 700;
        incarnations()[3] = 0x08000011U;
        incarnations()[9] = 5;
        incarnations()[12] = 6; // beyond all adapter numbers
        return group_.get();
    }

    Hb_Boolean *nodes() { return group_->Hb_membership_grp_union.Hb_node_membership_grp.Hb_node_list; }
    Hb_Incarnation *incarnations() {
        return group_->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_adapter_list;
    }

    std::unique_ptr<Hb_Group> group_;
};

constexpr Hb_Adapter_Identifier UNTOUCHED = {111, 222, 333};

void expect_identifier(const Hb_Adapter_Identifier &id, Hb_Adapter_Number number, Hb_Incarnation incarnation,
                       Hb_Boolean removed) {
    EXPECT_EQ(id.Hb_adapter_number, number);
    EXPECT_EQ(id.Hb_incarnation, incarnation);
    EXPECT_EQ(id.Hb_died_because_removed, removed);
}

void expect_untouched(const Hb_Adapter_Identifier &id) {
    expect_identifier(id, 111, 222, 333);
}

// ---- Node iteration ----

TEST_F(Membership, NodesOfAGroupAscend) {
    Hb_Group *group = node_group();
    group->Hb_cursor = 77;
    Hb_Node_Number node = 0;
    EXPECT_EQ(hb_get_first_node(group, &node), Hb_Success);
    EXPECT_EQ(node, 1);
    EXPECT_EQ(group->Hb_cursor, 2);
    EXPECT_EQ(hb_get_next_node(group, &node), Hb_Success);
    EXPECT_EQ(node, 3);
    EXPECT_EQ(group->Hb_cursor, 4);
    EXPECT_EQ(hb_get_next_node(group, &node), Hb_Failure);
    EXPECT_EQ(node, -1);
    EXPECT_EQ(hb_get_errno(), 1);
    EXPECT_EQ(group->Hb_cursor, 4);
}

TEST_F(Membership, ANodeEntryOtherThan1IsSkippedByIterationButGivenRaw) {
    Hb_Group *group = node_group();
    nodes()[1] = 7;
    Hb_Node_Number node = 0;
    EXPECT_EQ(hb_get_first_node(group, &node), Hb_Success);
    EXPECT_EQ(node, 3);
    EXPECT_EQ(hb_is_node_in_group(group, 1), 7);
}

TEST_F(Membership, NextOnACursorThatWasNeverSetGoesOnFromWhatItHolds) {
    Hb_Group *group = node_group();
    group->Hb_cursor = 2;
    Hb_Node_Number node = 0;
    EXPECT_EQ(hb_get_next_node(group, &node), Hb_Success);
    EXPECT_EQ(node, 3);
    group = adapter_group();
    group->Hb_cursor = 4;
    Hb_Adapter_Identifier id = UNTOUCHED;
    EXPECT_EQ(hb_get_next_adapter(group, &id), Hb_Success);
    EXPECT_EQ(id.Hb_adapter_number, 9U);
}

TEST_F(Membership, ACursorBelow0StartsAt0AndOneBeyondTheEndFindsNothing) {
    Hb_Group *group = node_group();
    Hb_Node_Number node = 0;
    group->Hb_cursor = INT_MIN;
    EXPECT_EQ(hb_get_next_node(group, &node), Hb_Success);
    EXPECT_EQ(node, 1);
    group->Hb_cursor = INT_MAX;
    EXPECT_EQ(hb_get_next_node(group, &node), Hb_Failure);
    EXPECT_EQ(group->Hb_cursor, INT_MAX);
    group = adapter_group();
    Hb_Adapter_Identifier id = UNTOUCHED;
    group->Hb_cursor = -1;
    EXPECT_EQ(hb_get_next_adapter(group, &id), Hb_Success);
    EXPECT_EQ(id.Hb_adapter_number, 3U);
    group->Hb_cursor = INT_MAX;
    EXPECT_EQ(hb_get_next_adapter(group, &id), Hb_Failure);
}

TEST_F(Membership, IterationStopsAtTheRecordWhenTheTablesBoundsLieBeyondIt) {
    global_config_tbl.Hb_max_nodes = INT_MAX;
    global_config_tbl.Hb_adapters_per_node = INT_MAX;
    Hb_Group *group = node_group();
    nodes()[2048] = 1;
    group->Hb_cursor = 5;
    Hb_Node_Number node = 0;
    EXPECT_EQ(hb_get_next_node(group, &node), Hb_Success);
    EXPECT_EQ(node, 2048);
    EXPECT_EQ(hb_get_next_node(group, &node), Hb_Failure);
    EXPECT_EQ(hb_is_node_in_group(group, 2049), Hb_False);
    EXPECT_EQ(hb_get_errno(), 4);
    group = adapter_group();
    incarnations()[98351] = 8;
    group->Hb_cursor = 13;
    Hb_Adapter_Identifier id = UNTOUCHED;
    EXPECT_EQ(hb_get_next_adapter(group, &id), Hb_Success);
    EXPECT_EQ(id.Hb_adapter_number, 98351U);
    EXPECT_EQ(hb_get_next_adapter(group, &id), Hb_Failure);
    EXPECT_EQ(hb_get_adapter_id(group, 98352, &id), Hb_Failure);
    EXPECT_EQ(hb_get_errno(), 4);
}

TEST_F(Membership, NodeIterationNeedsANodeGroup) {
    for (const Hb_Group_Type type : {1, 2, 3, 4, 99}) {
        Hb_Group *group = node_group();
        group->Hb_group_type = type;
        Hb_Node_Number node = 77;
        global_hb_errno = 0;
        EXPECT_EQ(hb_get_first_node(group, &node), Hb_Failure);
        EXPECT_EQ(hb_get_errno(), 5);
        global_hb_errno = 0;
        EXPECT_EQ(hb_get_next_node(group, &node), Hb_Failure);
        EXPECT_EQ(hb_get_errno(), 5);
        EXPECT_EQ(node, 77);
    }
}

// ---- Adapter iteration ----

TEST_F(Membership, AdaptersOfAGroupAscendAndTheRemovalFlagIsSplitOff) {
    Hb_Group *group = adapter_group();
    group->Hb_cursor = 77;
    Hb_Adapter_Identifier id = UNTOUCHED;
    EXPECT_EQ(hb_get_first_adapter(group, &id), Hb_Success);
    expect_identifier(id, 3, 0x11, Hb_True);
    EXPECT_EQ(group->Hb_cursor, 4);
    EXPECT_EQ(hb_get_next_adapter(group, &id), Hb_Success);
    expect_identifier(id, 9, 5, Hb_False);
    EXPECT_EQ(group->Hb_cursor, 10);
    id = UNTOUCHED;
    EXPECT_EQ(hb_get_next_adapter(group, &id), Hb_Failure);
    EXPECT_EQ(hb_get_errno(), 1);
    expect_untouched(id);
    EXPECT_EQ(group->Hb_cursor, 10);
}

TEST_F(Membership, OnlyBit27IsTakenFromTheIncarnation) {
    Hb_Group *group = adapter_group();
    incarnations()[0] = 0xFFFFFFFEU;
    Hb_Adapter_Identifier id = UNTOUCHED;
    EXPECT_EQ(hb_get_first_adapter(group, &id), Hb_Success);
    expect_identifier(id, 0, 0xF7FFFFFEU, Hb_True);
}

TEST_F(Membership, AdapterIterationNeedsAnAdapterGroup) {
    for (const Hb_Group_Type type : {0, 2, 3, 4, 99}) {
        Hb_Group *group = adapter_group();
        group->Hb_group_type = type;
        Hb_Adapter_Identifier id = UNTOUCHED;
        global_hb_errno = 0;
        EXPECT_EQ(hb_get_first_adapter(group, &id), Hb_Failure);
        EXPECT_EQ(hb_get_errno(), 5);
        global_hb_errno = 0;
        EXPECT_EQ(hb_get_next_adapter(group, &id), Hb_Failure);
        EXPECT_EQ(hb_get_errno(), 5);
        expect_untouched(id);
    }
}

TEST_F(Membership, AdapterIterationIsTracedAtDebugLevel) {
    Hb_Group *group = adapter_group();
    group->Hb_cursor = 77;
    Hb_Adapter_Identifier id = UNTOUCHED;
    const Trace_Spy spy(0, 0, 1);
    errno = ENOTTY;
    hb_get_first_adapter(group, &id);
    EXPECT_EQ(spy.records(),
              (std::vector<Trace_Record>{
                  {"_HBC", 135, 2, {1, 77}, {}}, {"_HBC", 137, 2, {1, 3}, {}}, {"_HBC", 138, 2, {4}, {}}}));
    EXPECT_EQ(errno, ENOTTY);
}

TEST_F(Membership, TheEndOfAdapterIterationIsTraced) {
    Hb_Group *group = adapter_group();
    group->Hb_cursor = 10;
    Hb_Adapter_Identifier id = UNTOUCHED;
    const Trace_Spy spy(0, 0, 1);
    errno = ENOTTY;
    hb_get_next_adapter(group, &id);
    EXPECT_EQ(spy.records(),
              (std::vector<Trace_Record>{
                  {"_HBC", 135, 2, {1, 10}, {}}, {"_HBC", 137, 2, {0, 12}, {}}, {"_HBC", 138, 2, {10}, {}}}));
    EXPECT_EQ(errno, ENOTTY);
}

TEST_F(Membership, AWrongTypeInAdapterIterationIsTraced) {
    Hb_Group *group = node_group();
    group->Hb_cursor = 3;
    Hb_Adapter_Identifier id = UNTOUCHED;
    const Trace_Spy spy(0, 0, 1);
    errno = ENOTTY;
    hb_get_first_adapter(group, &id);
    EXPECT_EQ(spy.records(),
              (std::vector<Trace_Record>{{"_HBC", 135, 2, {0, 3}, {}}, {"_HBC", 136, 2, {}, {}}}));
    EXPECT_EQ(errno, ENOTTY);
}

TEST_F(Membership, NothingIsTracedAtOtherLevels) {
    Hb_Adapter_Identifier id = UNTOUCHED;
    const Trace_Spy spy(1, 1, 0);
    hb_get_first_adapter(adapter_group(), &id);
    hb_get_first_adapter(node_group(), &id);
    EXPECT_TRUE(spy.records().empty());
}

// ---- Single members ----

TEST_F(Membership, TellsWhetherANodeIsInTheGroup) {
    Hb_Group *group = node_group();
    EXPECT_EQ(hb_is_node_in_group(group, 1), Hb_True);
    EXPECT_EQ(hb_is_node_in_group(group, 2), Hb_False);
    EXPECT_EQ(hb_get_errno(), 0);
}

TEST_F(Membership, ANodeOutOfRangeIsRefusedBeforeTheTypeIsLookedAt) {
    for (const Hb_Node_Number node : std::initializer_list<Hb_Node_Number>{-1, 4, 32767, -32768}) {
        global_hb_errno = 0;
        EXPECT_EQ(hb_is_node_in_group(adapter_group(), node), Hb_False);
        EXPECT_EQ(hb_get_errno(), 4);
    }
    EXPECT_EQ(hb_is_node_in_group(adapter_group(), 1), Hb_False);
    EXPECT_EQ(hb_get_errno(), 5);
}

TEST_F(Membership, TellsWhetherAnAdapterIsInTheGroup) {
    Hb_Group *group = adapter_group();
    incarnations()[4] = 0;
    EXPECT_EQ(hb_is_adapter_in_group(group, 3), Hb_True);
    EXPECT_EQ(hb_is_adapter_in_group(group, 4), Hb_True) << "0 is an incarnation";
    EXPECT_EQ(hb_is_adapter_in_group(group, 5), Hb_False);
    EXPECT_EQ(hb_get_errno(), 0);
}

TEST_F(Membership, AnAdapterOutOfRangeIsRefusedBeforeTheTypeIsLookedAt) {
    for (const Hb_Adapter_Number adapter : {12U, 98352U, 0xFFFFFFFFU}) {
        global_hb_errno = 0;
        EXPECT_EQ(hb_is_adapter_in_group(node_group(), adapter), Hb_False);
        EXPECT_EQ(hb_get_errno(), 4);
        Hb_Adapter_Identifier id = UNTOUCHED;
        global_hb_errno = 0;
        EXPECT_EQ(hb_get_adapter_id(node_group(), adapter, &id), Hb_Failure);
        EXPECT_EQ(hb_get_errno(), 4);
        expect_untouched(id);
    }
    EXPECT_EQ(hb_is_adapter_in_group(node_group(), 3), Hb_False);
    EXPECT_EQ(hb_get_errno(), 5);
}

TEST_F(Membership, MembersAreToldWithoutOpeningTheLibrary) {
    close_library();
    EXPECT_EQ(hb_is_node_in_group(node_group(), 0), Hb_False);
    EXPECT_EQ(hb_get_errno(), 4) << "an empty table knows no node";
    global_hb_errno = 0;
    EXPECT_EQ(hb_is_adapter_in_group(adapter_group(), 0), Hb_False);
    EXPECT_EQ(hb_get_errno(), 4);
    global_config_tbl.Hb_max_nodes = 4;
    global_config_tbl.Hb_adapters_per_node = 3;
    EXPECT_EQ(hb_is_node_in_group(node_group(), 1), Hb_True);
    EXPECT_EQ(hb_is_adapter_in_group(adapter_group(), 3), Hb_True);
    EXPECT_EQ(client_initialized, 0);
}

TEST_F(Membership, AnAdaptersIdentifierKeepsTheFlagAndLeavesTheRemovalField) {
    Hb_Adapter_Identifier id = UNTOUCHED;
    EXPECT_EQ(hb_get_adapter_id(adapter_group(), 3, &id), Hb_Success);
    expect_identifier(id, 3, 0x08000011U, 333);
    EXPECT_EQ(hb_get_adapter_id(adapter_group(), 9, &id), Hb_Success);
    expect_identifier(id, 9, 5, 333);
}

TEST_F(Membership, AnAdapterThatIsNoMemberHasNoIdentifier) {
    Hb_Adapter_Identifier id = UNTOUCHED;
    EXPECT_EQ(hb_get_adapter_id(adapter_group(), 4, &id), Hb_Failure);
    EXPECT_EQ(hb_get_errno(), 7);
    Hb_Group *group = node_group();
    EXPECT_EQ(hb_get_adapter_id(group, 3, &id), Hb_Failure);
    EXPECT_EQ(hb_get_errno(), 5);
    expect_untouched(id);
}

// ---- The group ----

TEST_F(Membership, AGroupsStatusIsGivenForNewGroupsOnlyAndOfAnyType) {
    int status = 77;
    Hb_Group *group = adapter_group(4);
    EXPECT_EQ(hb_get_group_status(group, &status), Hb_Success);
    EXPECT_EQ(status, 0);
    group = node_group();
    group->Hb_events = 4;
    group->Hb_group_status = 1;
    EXPECT_EQ(hb_get_group_status(group, &status), Hb_Success);
    EXPECT_EQ(status, 1);
    group->Hb_group_type = 4;
    group->Hb_group_status = 41;
    EXPECT_EQ(hb_get_group_status(group, &status), Hb_Success);
    EXPECT_EQ(status, 41);
    for (const Hb_Events events : {0, 1, 2, 5, 8, 256}) {
        global_hb_errno = 0;
        status = 77;
        EXPECT_EQ(hb_get_group_status(adapter_group(events), &status), Hb_Failure);
        EXPECT_EQ(hb_get_errno(), 3);
        EXPECT_EQ(status, 77);
    }
}

TEST_F(Membership, TheLeaderComesWithItsStoredIncarnation) {
    Hb_Group *group = adapter_group();
    group->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_group_leader = 3;
    Hb_Adapter_Identifier id = UNTOUCHED;
    EXPECT_EQ(hb_get_group_leader_id(group, &id), Hb_Success);
    expect_identifier(id, 3, 0x08000011U, 333);
    group->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_group_leader = 98351;
    EXPECT_EQ(hb_get_group_leader_id(group, &id), Hb_Success);
    expect_identifier(id, 98351, 0xFFFFFFFFU, 333);
}

TEST_F(Membership, ALeaderThatIsNoAdapterNumberIsRefused) {
    for (const Hb_Adapter_Number leader : {98352U, 0xFFFFFFFFU}) {
        Hb_Group *group = adapter_group();
        group->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_group_leader = leader;
        Hb_Adapter_Identifier id = UNTOUCHED;
        global_hb_errno = 0;
        EXPECT_EQ(hb_get_group_leader_id(group, &id), Hb_Failure);
        EXPECT_EQ(hb_get_errno(), 4);
        expect_untouched(id);
    }
}

TEST_F(Membership, AGroupsIdentityIsItsLeaderAndItsOwnIncarnation) {
    Hb_Group *group = adapter_group();
    Hb_Group_Identifier id = UNTOUCHED;
    EXPECT_EQ(hb_get_group_id(group, &id), Hb_Success);
    expect_identifier(id, 9, 700, 333);
    group->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_group_leader = 0xFFFFFFFFU;
    EXPECT_EQ(hb_get_group_id(group, &id), Hb_Success);
    expect_identifier(id, 0xFFFFFFFFU, 700, 333);
}

TEST_F(Membership, LeaderAndIdentityNeedAnAdapterGroupAndThenANewOne) {
    for (const auto call : {hb_get_group_leader_id, hb_get_group_id}) {
        Hb_Adapter_Identifier id = UNTOUCHED;
        EXPECT_EQ(call(node_group(), &id), Hb_Failure);
        EXPECT_EQ(hb_get_errno(), 5) << "the type is looked at first";
        for (const Hb_Events events : {1, 2, 8, 256}) {
            global_hb_errno = 0;
            EXPECT_EQ(call(adapter_group(events), &id), Hb_Failure);
            EXPECT_EQ(hb_get_errno(), 3);
        }
        expect_untouched(id);
    }
}

TEST_F(Membership, AFailureIdentifierComesWithDeathsJoinsAndNotices) {
    for (const Hb_Events events : {1, 2, 8}) {
        Hb_Group *group = adapter_group(events);
        std::memset(group->Hb_ffdc_id, 'f', 42);
        group->Hb_ffdc_id[42] = '\0';
        Hb_FFDC_Id id = "as it was";
        EXPECT_EQ(hb_get_FFDC_id(group, &id), Hb_Success);
        EXPECT_EQ(std::string(id, 43), std::string(42, 'f') + '\0');
    }
}

TEST_F(Membership, AllBytesOfAFailureIdentifierAreCopied) {
    Hb_Group *group = adapter_group(8);
    std::memset(group->Hb_ffdc_id, 0, 43);
    std::memcpy(group->Hb_ffdc_id, "ab\0cd", 5);
    Hb_FFDC_Id id;
    std::memset(id, '#', sizeof id);
    EXPECT_EQ(hb_get_FFDC_id(group, &id), Hb_Success);
    EXPECT_EQ(std::string(id, 43), std::string("ab\0cd", 5) + std::string(38, '\0'));
}

TEST_F(Membership, AFailureIdentifierWithoutItsNulIsCut) {
    Hb_Group *group = adapter_group(8);
    std::memset(group->Hb_ffdc_id, 'f', 43);
    Hb_FFDC_Id id;
    EXPECT_EQ(hb_get_FFDC_id(group, &id), Hb_Success);
    EXPECT_EQ(std::string(id), std::string(42, 'f'));
}

TEST_F(Membership, OtherEventsAndEmptyTextsCarryNoFailureIdentifier) {
    Hb_FFDC_Id id = "as it was";
    for (const Hb_Events events : {0, 3, 4, 9, 128, 256, 512}) {
        Hb_Group *group = adapter_group(events);
        std::strcpy(group->Hb_ffdc_id, "there is one");
        global_hb_errno = 0;
        EXPECT_EQ(hb_get_FFDC_id(group, &id), Hb_Failure);
        EXPECT_EQ(hb_get_errno(), 3) << events;
    }
    global_hb_errno = 0;
    EXPECT_EQ(hb_get_FFDC_id(adapter_group(8), &id), Hb_Failure);
    EXPECT_EQ(hb_get_errno(), 3);
    EXPECT_STREQ(id, "as it was");
}

TEST_F(Membership, ADifferentInstanceIsToldWithItsSender) {
    Hb_Group *group = adapter_group(256);
    group->Hb_group_type = 2;
    group->Hb_membership_grp_union.diff_instance_info.addr = mapped(10, 1, 2, 3);
    group->Hb_membership_grp_union.diff_instance_info.machinesInst = 17;
    diff_instance_info info{};
    EXPECT_EQ(hb_get_different_instance_sender(group, &info), Hb_Success);
    EXPECT_EQ(info.addr.i6_ipv6.s6_addr[13], 1);
    EXPECT_EQ(info.addr.i6_ipv6.s6_addr[15], 3);
    EXPECT_EQ(info.machinesInst, 17U);
}

TEST_F(Membership, ADifferentInstanceNeedsEventAndType) {
    diff_instance_info info{};
    info.machinesInst = 77;
    Hb_Group *group = adapter_group(256);
    EXPECT_EQ(hb_get_different_instance_sender(group, &info), Hb_Failure);
    EXPECT_EQ(hb_get_errno(), 3);
    group->Hb_group_type = 2;
    group->Hb_events = 4;
    global_hb_errno = 0;
    EXPECT_EQ(hb_get_different_instance_sender(group, &info), Hb_Failure);
    EXPECT_EQ(hb_get_errno(), 3);
    EXPECT_EQ(info.machinesInst, 77U);
}

// ---- Sites ----

TEST_F(Membership, SiteRecordsAreCopiedWithoutAnyCheck) {
    close_library();
    Hb_Group *group = node_group();
    auto &merge = group->Hb_membership_grp_union.site_merge_info;
    merge.num_local_up_nodes = 3;
    merge.num_remote_up_nodes = 2;
    merge.local_site.site_number = 1;
    merge.remote_site.cluster_id.word[3] = 0xDDDDDDDDU;
    site_merge_info merged{};
    EXPECT_EQ(hb_get_site_merge_info(group, &merged), Hb_Success);
    EXPECT_EQ(std::memcmp(&merged, &merge, 144), 0);
    EXPECT_EQ(merged.num_local_up_nodes, 3U);

    group = node_group();
    auto &split = group->Hb_membership_grp_union.site_split_info;
    split.local_site.node_number = 5;
    split.remote_site.site_merge_flag = 6;
    site_split_info parted{};
    EXPECT_EQ(hb_get_site_split_info(group, &parted), Hb_Success);
    EXPECT_EQ(std::memcmp(&parted, &split, 136), 0);
    EXPECT_EQ(parted.remote_site.site_merge_flag, 6U);
    EXPECT_EQ(client_initialized, 0);
}

// ---- Adapter identifiers ----

TEST_F(Membership, AnIdentifiersIncarnationNeedsNoOpenLibrary) {
    close_library();
    Hb_Adapter_Identifier id = {9, 0x08000005U, 0};
    EXPECT_EQ(hb_adapter_incarnation(&id), 0x08000005U);
    EXPECT_EQ(hb_get_errno(), 0);
}

TEST_F(Membership, AnIdentifierTellsWhetherItsAdapterWasRemoved) {
    Hb_Adapter_Identifier id = {9, 5, 1};
    EXPECT_EQ(hb_has_adapter_died_because_removed(&id), Hb_True);
    id.Hb_died_because_removed = 0;
    EXPECT_EQ(hb_has_adapter_died_because_removed(&id), Hb_False);
    id.Hb_died_because_removed = 7;
    EXPECT_EQ(hb_has_adapter_died_because_removed(&id), 7);
}

TEST_F(Membership, RemovalIs3WhenTheLibraryCannotBeOpened) {
    close_library();
    Hb_Adapter_Identifier id = {9, 5, 1};
    EXPECT_EQ(hb_has_adapter_died_because_removed(&id), 3);
    EXPECT_EQ(hb_get_errno(), 15);
}

TEST_F(Membership, ClearingTheNodeListReachesAllNodesAndNothingElse) {
    std::memset(group_.get(), 0x5A, sizeof *group_);
    reset_node_membership_group_node_list(group_.get());
    for (int node = 0; node < 2049; ++node) {
        ASSERT_EQ(nodes()[node], 0) << node;
    }
    EXPECT_EQ(group_->Hb_membership_grp_union.Hb_node_membership_grp.Hb_num_nodes, 0x5A5A5A5A);
    const auto *bytes = reinterpret_cast<const unsigned char *>(group_.get());
    EXPECT_EQ(bytes[64 + 2049 * 4], 0x5A);
}

// ---- Null pointers and a library that cannot be opened ----

TEST_F(Membership, ANullPointerIsRefusedBeforeTheLibraryIsOpened) {
    close_library();
    Hb_Group *group = node_group();
    Hb_Node_Number node = 0;
    Hb_Adapter_Identifier id = UNTOUCHED;
    int status = 0;
    Hb_FFDC_Id ffdc = "";
    diff_instance_info info{};
    site_merge_info merge{};
    site_split_info split{};
    const auto expect_4 = [](long result, long expected) {
        EXPECT_EQ(result, expected);
        EXPECT_EQ(hb_get_errno(), 4);
        global_hb_errno = 0;
    };
    expect_4(hb_get_first_node(nullptr, &node), Hb_Failure);
    expect_4(hb_get_first_node(group, nullptr), Hb_Failure);
    expect_4(hb_get_next_node(nullptr, &node), Hb_Failure);
    expect_4(hb_get_next_node(group, nullptr), Hb_Failure);
    expect_4(hb_get_first_adapter(nullptr, &id), Hb_Failure);
    expect_4(hb_get_first_adapter(group, nullptr), Hb_Failure);
    expect_4(hb_get_next_adapter(nullptr, &id), Hb_Failure);
    expect_4(hb_get_next_adapter(group, nullptr), Hb_Failure);
    expect_4(hb_is_node_in_group(nullptr, 1), Hb_False);
    expect_4(hb_is_adapter_in_group(nullptr, 1), Hb_False);
    expect_4(hb_get_adapter_id(nullptr, 3, &id), Hb_Failure);
    expect_4(hb_get_adapter_id(group, 3, nullptr), Hb_Failure);
    expect_4(hb_get_group_status(nullptr, &status), Hb_Failure);
    expect_4(hb_get_group_status(group, nullptr), Hb_Failure);
    expect_4(hb_get_group_leader_id(nullptr, &id), Hb_Failure);
    expect_4(hb_get_group_leader_id(group, nullptr), Hb_Failure);
    expect_4(hb_get_group_id(nullptr, &id), Hb_Failure);
    expect_4(hb_get_group_id(group, nullptr), Hb_Failure);
    expect_4(hb_get_FFDC_id(nullptr, &ffdc), Hb_Failure);
    expect_4(hb_get_FFDC_id(group, nullptr), Hb_Failure);
    expect_4(hb_get_different_instance_sender(nullptr, &info), Hb_Failure);
    expect_4(hb_get_different_instance_sender(group, nullptr), Hb_Failure);
    expect_4(hb_get_site_merge_info(nullptr, &merge), Hb_Failure);
    expect_4(hb_get_site_merge_info(group, nullptr), Hb_Failure);
    expect_4(hb_get_site_split_info(nullptr, &split), Hb_Failure);
    expect_4(hb_get_site_split_info(group, nullptr), Hb_Failure);
    expect_4(hb_has_adapter_died_because_removed(nullptr), Hb_False);
    EXPECT_EQ(hb_adapter_incarnation(nullptr), 0xFFFFFFFFU);
    EXPECT_EQ(hb_get_errno(), 4);
}

TEST_F(Membership, WhereNoDaemonListensAccessorsFailAndWriteNothing) {
    close_library();
    Hb_Node_Number node = 77;
    Hb_Adapter_Identifier id = UNTOUCHED;
    int status = 77;
    Hb_FFDC_Id ffdc = "as it was";
    diff_instance_info info{};
    info.machinesInst = 77;
    const auto expect_15 = [](Hb_Rc rc) {
        EXPECT_EQ(rc, Hb_Failure);
        EXPECT_EQ(hb_get_errno(), 15);
        global_hb_errno = 0;
    };
    expect_15(hb_get_first_node(node_group(), &node));
    expect_15(hb_get_next_node(node_group(), &node));
    expect_15(hb_get_first_adapter(adapter_group(), &id));
    expect_15(hb_get_next_adapter(adapter_group(), &id));
    expect_15(hb_get_adapter_id(adapter_group(), 3, &id));
    expect_15(hb_get_group_status(adapter_group(), &status));
    expect_15(hb_get_group_leader_id(adapter_group(), &id));
    expect_15(hb_get_group_id(adapter_group(), &id));
    expect_15(hb_get_FFDC_id(adapter_group(), &ffdc));
    expect_15(hb_get_different_instance_sender(adapter_group(), &info));
    EXPECT_EQ(node, 77);
    expect_untouched(id);
    EXPECT_EQ(status, 77);
    EXPECT_STREQ(ffdc, "as it was");
    EXPECT_EQ(info.machinesInst, 77U);
}

TEST_F(Membership, TheInternalIterationsTakeAFlagForTheFirst) {
    Hb_Group *group = node_group();
    group->Hb_cursor = 2;
    Hb_Node_Number node = 0;
    EXPECT_EQ(process_node_group(group, &node, 0), Hb_Success);
    EXPECT_EQ(node, 3);
    EXPECT_EQ(process_node_group(group, &node, 1), Hb_Success);
    EXPECT_EQ(node, 1);
    group = adapter_group();
    group->Hb_cursor = 4;
    Hb_Adapter_Identifier id = UNTOUCHED;
    EXPECT_EQ(process_adapter_group(group, &id, 0), Hb_Success);
    EXPECT_EQ(id.Hb_adapter_number, 9U);
    EXPECT_EQ(process_adapter_group(group, &id, 1), Hb_Success);
    EXPECT_EQ(id.Hb_adapter_number, 3U);
}

} // namespace
