// SPDX-License-Identifier: Apache-2.0
// The events for two tables that differ in one thing.
#include <gtest/gtest.h>

#include "hb_client.h"
#include "lib/base/error_number.h"
#include "lib/hb_global_data/cluster_name.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/mox/node_adapters.h"
#include "lib/mox/table_comparison.h"
#include "tests/support/isolated.h"
#include "tests/unit/mox_comparison/tables.h"

namespace hb_test {
namespace {

// Nodes 1 and 2 are up, with eth0 and eth1 each.
Plain_Table two_nodes() {
    Plain_Table table;
    table.nodes = {{1, Hb_Entity_Up}, {2, Hb_Entity_Up}};
    table.adapters = {{48, "eth0", address(1), 0, Hb_Entity_Up},
                      {49, "eth1", address(2), 0, Hb_Entity_Up},
                      {96, "eth0", address(3), 0, Hb_Entity_Up},
                      {97, "eth1", address(4), 0, Hb_Entity_Up}};
    return table;
}

struct Differences {
    Slot adapters_gone, nodes_gone, config_changed, adapters_new, nodes_new;

    void find(const Plain_Table &before, const Plain_Table &after) {
        Any_Handler handler;
        const Live_Table live(before);
        Table next(after);
        handler.compare_global_config_tables(next.get(), adapters_gone.out(), nodes_gone.out(),
                                             config_changed.out(), adapters_new.out(), nodes_new.out());
    }
};

using Adapters = std::vector<unsigned>;
using Nodes = std::vector<int>;

TEST(Comparison, OfEqualTablesGivesNothing) {
    Differences found;
    found.find(two_nodes(), two_nodes());
    EXPECT_TRUE(found.adapters_gone.is_empty());
    EXPECT_TRUE(found.nodes_gone.is_empty());
    EXPECT_TRUE(found.config_changed.is_empty());
    EXPECT_TRUE(found.adapters_new.is_empty());
    EXPECT_TRUE(found.nodes_new.is_empty());
}

TEST(Comparison, ANodeThatWasUpAndIsMissingIsGone) {
    Plain_Table after = two_nodes();
    after.nodes.pop_back();
    Differences found;
    found.find(two_nodes(), after);
    ASSERT_FALSE(found.nodes_gone.is_empty());
    EXPECT_EQ(Hb_Node_Group, found.nodes_gone->group.Hb_group_type);
    EXPECT_EQ(Hb_Group_Stable, found.nodes_gone->group.Hb_group_status);
    EXPECT_EQ(1, found.nodes_gone->group.Hb_events);
    EXPECT_EQ(1, found.nodes_gone.node_group().Hb_num_nodes);
    EXPECT_EQ(Nodes{2}, found.nodes_gone.nodes());
    EXPECT_EQ(nullptr, found.nodes_gone->next);
    EXPECT_EQ(0U, found.nodes_gone->type);
    EXPECT_EQ(0, found.nodes_gone->node_num);
    EXPECT_TRUE(found.nodes_new.is_empty());
}

TEST(Comparison, ANodeThatWasDownOrUndefinedAndIsMissingIsNoNews) {
    for (const Hb_Entity_State state : {Hb_Entity_Down, Hb_Entity_Undef}) {
        Plain_Table before = two_nodes();
        before.nodes[1].state = state;
        Plain_Table after = two_nodes();
        after.nodes.pop_back();
        Differences found;
        found.find(before, after);
        EXPECT_TRUE(found.nodes_gone.is_empty());
    }
}

TEST(Comparison, NodesThatAreUpAndUnknownAreNewInOneEvent) {
    Plain_Table after = two_nodes();
    after.nodes.push_back({7, Hb_Entity_Up});
    after.nodes.push_back({2048, Hb_Entity_Up});
    after.nodes.push_back({9, Hb_Entity_Down});
    Differences found;
    found.find(two_nodes(), after);
    ASSERT_FALSE(found.nodes_new.is_empty());
    EXPECT_EQ(2, found.nodes_new->group.Hb_events);
    EXPECT_EQ(2, found.nodes_new.node_group().Hb_num_nodes);
    EXPECT_EQ((Nodes{7, 2048}), found.nodes_new.nodes());
}

TEST(Comparison, ANodeThatOnlyDiedIsNoDifferenceOfTheTables) {
    Plain_Table after = two_nodes();
    after.nodes[1].state = Hb_Entity_Down;
    Differences found;
    found.find(two_nodes(), after);
    EXPECT_TRUE(found.nodes_gone.is_empty());
    EXPECT_TRUE(found.nodes_new.is_empty());
}

TEST(Comparison, AnAdapterEventHasTheWholeListMarked) {
    Plain_Table after = two_nodes();
    after.adapters.erase(after.adapters.begin() + 2, after.adapters.end());
    Differences found;
    found.find(two_nodes(), after);
    ASSERT_FALSE(found.adapters_gone.is_empty());
    EXPECT_EQ(Hb_Adapter_Group, found.adapters_gone->group.Hb_group_type);
    EXPECT_EQ(Hb_Group_Stable, found.adapters_gone->group.Hb_group_status);
    EXPECT_EQ(1, found.adapters_gone->group.Hb_events);
    EXPECT_EQ(0xFFFFFFFFU, static_cast<uint32_t>(found.adapters_gone.adapter_group().Hb_group_leader));
    EXPECT_EQ(0xFFFFFFFFU, static_cast<uint32_t>(found.adapters_gone.adapter_group().Hb_group_incarnation));
    EXPECT_EQ(2, found.adapters_gone.adapter_group().Hb_num_adapters);
    EXPECT_EQ((Adapters{96, 97}), found.adapters_gone.adapters());
    EXPECT_EQ(nullptr, found.adapters_gone->next);
    EXPECT_EQ(0U, found.adapters_gone->type);
    EXPECT_EQ(0, found.adapters_gone->node_num);
}

TEST(Comparison, AChangedAddressIsGoneAndNew) {
    Plain_Table after = two_nodes();
    after.adapters[3].address = address(44);
    Differences found;
    found.find(two_nodes(), after);
    EXPECT_EQ(Adapters{97}, found.adapters_gone.adapters());
    EXPECT_EQ(Adapters{97}, found.adapters_new.adapters());
    EXPECT_EQ(2, found.adapters_new->group.Hb_events);
}

TEST(Comparison, AnAdapterThatIsNoLongerUpIsGone) {
    for (const Hb_Entity_State state : {Hb_Entity_Down, Hb_Entity_Undef}) {
        Plain_Table after = two_nodes();
        after.adapters[0].state = state;
        Differences found;
        found.find(two_nodes(), after);
        EXPECT_EQ(Adapters{48}, found.adapters_gone.adapters());
        EXPECT_TRUE(found.adapters_new.is_empty());
    }
}

TEST(Comparison, AnAdapterThatCameUpIsNew) {
    Plain_Table before = two_nodes();
    before.adapters[0].state = Hb_Entity_Down;
    Differences found;
    found.find(before, two_nodes());
    EXPECT_TRUE(found.adapters_gone.is_empty());
    EXPECT_EQ(Adapters{48}, found.adapters_new.adapters());
}

TEST(Comparison, AnAdapterThatWasNotUpIsNoNewsWhateverBecomesOfIt) {
    Plain_Table before = two_nodes();
    before.adapters[0].state = Hb_Entity_Down;
    before.adapters[1].state = Hb_Entity_Undef;
    Plain_Table after = two_nodes();
    after.adapters.erase(after.adapters.begin(), after.adapters.begin() + 2);
    Differences found;
    found.find(before, after);
    EXPECT_TRUE(found.adapters_gone.is_empty());
}

TEST(Comparison, TheSearchGoesOnBehindAnAdapterOfTheSameNameWithAnotherAddress) {
    Plain_Table after = two_nodes();
    after.adapters.insert(after.adapters.begin(), {50, "eth0", address(99), 0, Hb_Entity_Down});
    Differences found;
    found.find(two_nodes(), after);
    EXPECT_TRUE(found.adapters_gone.is_empty());
}

TEST(Comparison, OfSeveralThatMatchTheFirstDecides) {
    Plain_Table after = two_nodes();
    after.adapters.insert(after.adapters.begin(), {50, "eth0", address(1), 0, Hb_Entity_Down});
    Differences found;
    found.find(two_nodes(), after);
    EXPECT_EQ(Adapters{48}, found.adapters_gone.adapters());
}

TEST(Comparison, NodesAreToldByEachTablesOwnGeometry) {
    Plain_Table before = two_nodes();
    before.adapters_per_node = 2;
    before.adapters[0].number = 2;
    before.adapters[1].number = 3;
    before.adapters[2].number = 4;
    before.adapters[3].number = 5;
    Differences found;
    found.find(before, two_nodes());
    EXPECT_TRUE(found.adapters_gone.is_empty());
    EXPECT_TRUE(found.adapters_new.is_empty());
}

TEST(Comparison, ATableWithoutAdaptersOfANodeHasNoAdapters) {
    Plain_Table none = two_nodes();
    none.adapters_per_node = 0;
    Differences gone;
    gone.find(two_nodes(), none);
    EXPECT_EQ((Adapters{48, 49, 96, 97}), gone.adapters_gone.adapters());
    EXPECT_TRUE(gone.adapters_new.is_empty());
    Differences came;
    came.find(none, two_nodes());
    EXPECT_TRUE(came.adapters_gone.is_empty());
    EXPECT_EQ((Adapters{48, 49, 96, 97}), came.adapters_new.adapters());
}

TEST(Comparison, ASlotThatHeldAnEventIsEmptiedFirst) {
    Any_Handler handler;
    Table table(two_nodes());
    Slot kept;
    handler.constructNodeEvent(1, kept.out(), 1);
    MOX_Event *slot = *kept.out();
    handler.generate_event_for_missing_tbl2_adapters(table.get(), table.get(), 1, &slot);
    EXPECT_EQ(nullptr, slot);
    handler.generate_event_for_missing_tbl2_adapters(table.get(), table.get(), 1, nullptr);
}

// ---- A changed configuration ----

TEST(ConfigChange, IsToldWhileAMovePreparesOnly) {
    Plain_Table after = two_nodes();
    after.nodes.pop_back();
    Differences found;
    found.find(two_nodes(), after);
    EXPECT_TRUE(found.config_changed.is_empty());

    migrate_to_mox_prep = true;
    Differences moving;
    moving.find(two_nodes(), after);
    migrate_to_mox_prep = false;
    ASSERT_FALSE(moving.config_changed.is_empty());
    EXPECT_EQ(128, moving.config_changed->group.Hb_events);
    EXPECT_EQ(3, moving.config_changed->group.Hb_group_type); // not a membership
    EXPECT_EQ(nullptr, moving.config_changed->next);
    EXPECT_EQ(0U, moving.config_changed->type);
    EXPECT_EQ(0, moving.config_changed->node_num);
}

bool is_change(const Plain_Table &before, const Plain_Table &after) {
    Any_Handler handler;
    Table one(before);
    Table other(after);
    Slot changed;
    handler.generate_event_for_config_change(one.get(), other.get(), changed.out());
    return !changed.is_empty();
}

TEST(ConfigChange, IsInTheCountsOfNodesAdaptersAndNetworks) {
    EXPECT_FALSE(is_change(two_nodes(), two_nodes()));
    Plain_Table after = two_nodes();
    after.nodes.push_back({3, Hb_Entity_Down});
    EXPECT_TRUE(is_change(two_nodes(), after));
    after = two_nodes();
    after.adapters.pop_back();
    EXPECT_TRUE(is_change(two_nodes(), after));
    after = two_nodes();
    after.networks = 47;
    EXPECT_TRUE(is_change(two_nodes(), after));
}

TEST(ConfigChange, IsInAnAdaptersNetworkNameAndAddress) {
    Plain_Table after = two_nodes();
    after.adapters[3].network = 1;
    EXPECT_TRUE(is_change(two_nodes(), after));
    after = two_nodes();
    after.adapters[3].name = "eth2";
    EXPECT_TRUE(is_change(two_nodes(), after));
    for (std::size_t byte : {0U, 4U, 8U, 15U}) {
        after = two_nodes();
        after.adapters[3].address[byte] ^= 0x80;
        EXPECT_TRUE(is_change(two_nodes(), after)) << "byte " << byte;
    }
}

TEST(ConfigChange, IsNotInStatesNorInTheLocalNodeNorInOtherNodesOfTheSameCount) {
    Plain_Table after = two_nodes();
    after.adapters[0].state = Hb_Entity_Down;
    after.nodes[0].state = Hb_Entity_Down;
    EXPECT_FALSE(is_change(two_nodes(), after));
    after = two_nodes();
    after.local_node = 2;
    EXPECT_FALSE(is_change(two_nodes(), after));
    after = two_nodes();
    after.nodes[1].number = 5;
    EXPECT_FALSE(is_change(two_nodes(), after));
}

TEST(ConfigChange, TheFirstAdapterOfTheSameNameDecides) {
    Plain_Table one = two_nodes();
    one.adapters[1].name = "eth0"; // address 2, after address 1
    EXPECT_TRUE(is_change(one, one));
}

TEST(ConfigChange, TakesASequenceNumberOnceForASlot) {
    Any_Handler handler;
    Slot slot;
    const int number = hb_mox_next_event_sequence();
    handler.constructConfigEvent(slot.out());
    EXPECT_EQ(number + 1, slot->sequence_num);
    handler.constructConfigEvent(slot.out());
    handler.constructConfigEvent(nullptr);
    EXPECT_EQ(number + 1, slot->sequence_num);
    EXPECT_EQ(number + 2, hb_mox_next_event_sequence());
}

// ---- Nodes of one table in another ----

TEST(FindNodes, EveryNodeHasToBeKnownUpOrNot) {
    Plain_Table more = two_nodes();
    more.nodes.push_back({9, Hb_Entity_Down});
    Table small(two_nodes());
    Table large(more);
    set_hb_errno(5);
    EXPECT_EQ(Hb_Success, MOX_find_tbl1_node_in_tbl2(small.get(), large.get()));
    EXPECT_EQ(5, hb_get_errno());
    EXPECT_EQ(Hb_Failure, MOX_find_tbl1_node_in_tbl2(large.get(), small.get()));
    EXPECT_EQ(73, hb_get_errno());
}

TEST(FindNodes, ATableThatWasNeverFilledKnowsNone) {
    Hb_Configuration_Internal empty = {};
    Table table(two_nodes());
    EXPECT_EQ(Hb_Success, MOX_find_tbl1_node_in_tbl2(&empty, table.get()));
    EXPECT_EQ(Hb_Failure, MOX_find_tbl1_node_in_tbl2(table.get(), &empty));
}

// ---- Single events ----

TEST(NodeEvent, IsOfOneNodeAndStaysWhatItIs) {
    Any_Handler handler;
    Slot slot;
    handler.constructNodeEvent(2048, slot.out(), 2);
    ASSERT_FALSE(slot.is_empty());
    EXPECT_EQ(Nodes{2048}, slot.nodes());
    EXPECT_EQ(1, slot.node_group().Hb_num_nodes);
    EXPECT_EQ(2, slot->group.Hb_events);
    EXPECT_EQ(Hb_Group_Stable, slot->group.Hb_group_status);
    handler.constructNodeEvent(3, slot.out(), 1);
    EXPECT_EQ(Nodes{2048}, slot.nodes());
    EXPECT_EQ(2, slot->group.Hb_events);
    handler.constructNodeEvent(3, nullptr, 1);
}

TEST(NodeEvent, CountsOneNodeAlsoForANumberThatNoNodeHas) {
    Any_Handler handler;
    for (const int node : {-1, 2049, 40000}) {
        Slot slot;
        handler.constructNodeEvent(node, slot.out(), 2);
        ASSERT_FALSE(slot.is_empty());
        EXPECT_EQ(Nodes{}, slot.nodes());
        EXPECT_EQ(1, slot.node_group().Hb_num_nodes);
    }
}

TEST(AdapterEvent, GrowsByOneAdapterAtATime) {
    Any_Handler handler;
    const Live_Table live(two_nodes());
    Slot slot;
    handler.construct_an_adapter_event(slot.out(), 1, 97);
    EXPECT_EQ(Adapters{97}, slot.adapters());
    handler.construct_an_adapter_event(slot.out(), 2, 98351);
    EXPECT_EQ((Adapters{97, 98351}), slot.adapters());
    EXPECT_EQ(2, slot->group.Hb_events);
    handler.construct_an_adapter_event(nullptr, 1, 97);
}

ISOLATED_TEST(AdaptersOfANode, ThatDiedAreMarkedDownInTheLiveTable) {
    Any_Handler handler;
    Plain_Table table = two_nodes();
    table.adapters.push_back({98, "eth2", address(5), 0, Hb_Entity_Down});
    const Live_Table live(table);
    Slot slot;
    EXPECT_EQ(Hb_Success, handler.constructAdapterEventOnNode(2, slot.out(), 1));
    EXPECT_EQ((Adapters{96, 97}), slot.adapters());
    EXPECT_EQ(2, slot.adapter_group().Hb_num_adapters);
    EXPECT_EQ(1, slot->group.Hb_events);
    EXPECT_EQ(Hb_Entity_Up, global_config_tbl.Hb_global_adapter_list[0].Hb_state);
    EXPECT_EQ(Hb_Entity_Up, global_config_tbl.Hb_global_adapter_list[1].Hb_state);
    EXPECT_EQ(Hb_Entity_Down, global_config_tbl.Hb_global_adapter_list[2].Hb_state);
    EXPECT_EQ(Hb_Entity_Down, global_config_tbl.Hb_global_adapter_list[3].Hb_state);
    Slot again;
    EXPECT_EQ(Hb_Success, handler.constructAdapterEventOnNode(2, again.out(), 1));
    EXPECT_TRUE(again.is_empty());
}

TEST(AdaptersOfANode, AreUpInTheTableWhereTheEventTellsSo) {
    Any_Handler handler;
    Plain_Table plain = two_nodes();
    plain.adapters.push_back({98, "eth2", address(5), 0, Hb_Entity_Down});
    plain.adapters.push_back({99, "eth3", address(6), 0, Hb_Entity_Undef});
    Table table(plain);
    Slot joined;
    handler.construct_an_adapter_event(joined.out(), 2, 97);
    handler.construct_an_adapter_event(joined.out(), 2, 98);
    MOX_match_adapters_of_node(*table.get(), 2, *joined.out());
    const Hb_Adapter_Entry *adapters = table.get()->Hb_global_adapter_list;
    EXPECT_EQ(Hb_Entity_Up, adapters[0].Hb_state) << "of another node";
    EXPECT_EQ(Hb_Entity_Down, adapters[2].Hb_state) << "up, and not told";
    EXPECT_EQ(Hb_Entity_Up, adapters[3].Hb_state);
    EXPECT_EQ(Hb_Entity_Up, adapters[4].Hb_state) << "down, and told";
    EXPECT_EQ(Hb_Entity_Undef, adapters[5].Hb_state);
    MOX_match_adapters_of_node(*table.get(), 2, nullptr);
    EXPECT_EQ(Hb_Entity_Down, adapters[3].Hb_state);
    EXPECT_EQ(Hb_Entity_Up, adapters[1].Hb_state);
}

ISOLATED_TEST(AdaptersOfANode, ThatCameUpAreUnknownWithoutAService) {
    Any_Handler handler;
    const Live_Table live(two_nodes());
    MOX_Event held;
    MOX_Event *slot = &held;
    errno = ERANGE;
    EXPECT_EQ(Hb_Failure, handler.constructAdapterEventOnNode(2, &slot, 2));
    EXPECT_EQ(ERANGE, errno);
    EXPECT_EQ(65, hb_get_errno());
    EXPECT_EQ(nullptr, slot);
}

ISOLATED_TEST(AdaptersOfANode, WithAnotherEventAreNone) {
    Any_Handler handler;
    const Live_Table live(two_nodes());
    for (const int events : {0, 4, 128}) {
        MOX_Event held;
        MOX_Event *slot = &held;
        EXPECT_EQ(Hb_Success, handler.constructAdapterEventOnNode(2, &slot, events));
        EXPECT_EQ(nullptr, slot);
    }
    EXPECT_EQ(Hb_Entity_Up, global_config_tbl.Hb_global_adapter_list[2].Hb_state);
    EXPECT_EQ(Hb_Success, handler.constructAdapterEventOnNode(2, nullptr, 1));
    EXPECT_EQ(Hb_Entity_Down, global_config_tbl.Hb_global_adapter_list[2].Hb_state);
}

} // namespace
} // namespace hb_test
