// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <cstring>

#include "cluster_fixture.h"
#include "lib/api/hb_subscription.h"
#include "lib/api/session.h"
#include "lib/base/error_number.h"
#include "lib/hb_global_data/configuration_table.h"

namespace {

// The record's bytes at the offsets that the daemon knows.
constexpr std::size_t BITMAP = 52;

class Subscription_Group : public Cluster_Test {
  protected:
    Subscription_Group() : group_(std::make_unique<Hb_Subscription_Group>()) {
        // A caller's record may contain anything before it is emptied.
        std::memset(group_.get(), 0xEE, sizeof *group_);
        EXPECT_EQ(hb_empty_subscription_group(group()), Hb_Success);
        global_config_tbl.Hb_max_sites = 2;
        global_site_tbl[1] = Hb_True;
        global_num_sites = 1;
    }

    Hb_Subscription_Group *group() { return group_.get(); }

    unsigned byte(std::size_t offset) { return reinterpret_cast<const unsigned char *>(group_.get())[offset]; }
    int32_t word(std::size_t offset) {
        int32_t value = 0;
        std::memcpy(&value, reinterpret_cast<const char *>(group_.get()) + offset, 4);
        return value;
    }
    int32_t type() { return word(0); }
    int32_t cursor() { return word(4); }
    int32_t count() { return word(48); }
    void set_type(int32_t type) { group_->Hb_subscription_type = type; }

    // The bits that are set in the first `size` bytes of the bitmap, most significant first.
    std::vector<unsigned> members(std::size_t size) {
        std::vector<unsigned> found;
        for (unsigned number = 0; number < 8 * size; ++number) {
            if ((byte(BITMAP + number / 8) & (0x80U >> number % 8)) != 0) {
                found.push_back(number);
            }
        }
        return found;
    }

    void expect_error(Hb_Rc rc, int error) {
        EXPECT_EQ(rc, Hb_Failure);
        EXPECT_EQ(hb_get_errno(), error);
        global_hb_errno = 0;
    }

  private:
    std::unique_ptr<Hb_Subscription_Group> group_;
};

using Numbers = std::vector<unsigned>;

// ---- Emptying ----

TEST_F(Subscription_Group, EmptyingSetsTheTypeAlone) {
    EXPECT_EQ(type(), 4);
    EXPECT_EQ(count(), static_cast<int32_t>(0xEEEEEEEEU));
    EXPECT_EQ(byte(BITMAP), 0xEEU);
    EXPECT_EQ(cursor(), static_cast<int32_t>(0xEEEEEEEEU));
}

// ---- Nodes ----

TEST_F(Subscription_Group, TheFirstNodeMakesAClearedNodeGroup) {
    EXPECT_EQ(hb_add_node_to_subscription_group(group(), 1), Hb_Success);
    EXPECT_EQ(type(), 0);
    EXPECT_EQ(count(), 1);
    EXPECT_EQ(byte(BITMAP), 0x40U);
    EXPECT_EQ(members(257), (Numbers{1}));
    EXPECT_EQ(byte(BITMAP + 257), 0xEEU) << "nothing behind the 257 bytes is touched";
}

TEST_F(Subscription_Group, NodesAreAddedAndRemovedOnce) {
    hb_add_node_to_subscription_group(group(), 1);
    hb_add_node_to_subscription_group(group(), 3);
    EXPECT_EQ(byte(BITMAP), 0x50U);
    EXPECT_EQ(count(), 2);
    EXPECT_EQ(hb_add_node_to_subscription_group(group(), 3), Hb_Success);
    EXPECT_EQ(count(), 2);
    EXPECT_EQ(hb_remove_node_from_subscription_group(group(), 1), Hb_Success);
    EXPECT_EQ(members(257), (Numbers{3}));
    EXPECT_EQ(count(), 1);
    EXPECT_EQ(hb_remove_node_from_subscription_group(group(), 1), Hb_Success);
    EXPECT_EQ(count(), 1);
    EXPECT_EQ(hb_remove_node_from_subscription_group(group(), 3), Hb_Success);
    EXPECT_EQ(count(), 0);
    EXPECT_EQ(type(), 0);
}

TEST_F(Subscription_Group, RemovingFromAnEmptyGroupMakesAnEmptyNodeGroup) {
    EXPECT_EQ(hb_remove_node_from_subscription_group(group(), 1), Hb_Success);
    EXPECT_EQ(type(), 0);
    EXPECT_EQ(count(), 0);
    EXPECT_EQ(members(257), Numbers{});
}

TEST_F(Subscription_Group, TheHighestNodeHasItsBitInTheLastByte) {
    global_config_tbl.Hb_max_nodes = 2049;
    global_node_tbl[2048] = Hb_True;
    EXPECT_EQ(hb_add_node_to_subscription_group(group(), 2048), Hb_Success);
    EXPECT_EQ(byte(BITMAP + 256), 0x80U);
}

TEST_F(Subscription_Group, ANodeOutOfRangeOrNotConfiguredIsRefused) {
    global_config_tbl.Hb_max_nodes = 4;
    for (const Hb_Node_Number node : std::initializer_list<Hb_Node_Number>{-1, 4, 32767}) {
        expect_error(hb_add_node_to_subscription_group(group(), node), 4);
        expect_error(hb_remove_node_from_subscription_group(group(), node), 4);
    }
    expect_error(hb_add_node_to_subscription_group(group(), 2), 9);
    expect_error(hb_remove_node_from_subscription_group(group(), 2), 9);
    EXPECT_EQ(type(), 4);
    global_config_tbl.Hb_max_nodes = INT_MAX;
    expect_error(hb_add_node_to_subscription_group(group(), 2049), 4);
}

TEST_F(Subscription_Group, NumbersAreCheckedBeforeTheType) {
    set_type(2);
    expect_error(hb_add_node_to_subscription_group(group(), 2), 9);
    set_type(0);
    expect_error(hb_add_adapter_to_subscription_group(group(), 12), 4);
}

// Every type that a group can have, and whether each kind of member may be changed in it.
struct Type_Rule {
    int32_t type;
    bool node, adapter, network, site;
};

class Subscription_Types : public Subscription_Group {
  protected:
    void expect(bool allowed, Hb_Rc rc) {
        if (allowed) {
            EXPECT_EQ(rc, Hb_Success);
        } else {
            expect_error(rc, 11);
        }
    }
};

TEST_F(Subscription_Types, AMemberOfAnotherKindIsRefusedAndOtherTypesAreNot) {
    const Type_Rule rules[] = {
        {0, true, false, false, false}, {1, true, true, true, true},  {2, false, true, false, false},
        {3, true, true, true, true},    {5, true, true, false, true}, {6, true, true, true, true},
        {7, false, false, false, true}, {8, true, true, true, true},  {77, true, true, true, true},
    };
    for (const Type_Rule &rule : rules) {
        SCOPED_TRACE(rule.type);
        for (const int add : {1, 0}) {
            SCOPED_TRACE(add);
            set_type(rule.type);
            expect(rule.node, hb_change_node_subscription_group(group(), 1, add));
            expect(rule.adapter, hb_change_adapter_subscription_group(group(), 3, add));
            expect(rule.network, hb_change_network_in_subscription_group(group(), 0, add));
            expect(rule.site, hb_change_site_subscription_group(group(), 1, add));
            EXPECT_EQ(type(), rule.type) << "the type stays";
        }
    }
}

TEST_F(Subscription_Types, ARefusedChangeLeavesTheGroup) {
    hb_add_node_to_subscription_group(group(), 1);
    expect_error(hb_add_adapter_to_subscription_group(group(), 3), 11);
    expect_error(hb_add_network_to_subscription_group(group(), 0), 11);
    expect_error(hb_add_site_to_subscription_group(group(), 1), 11);
    EXPECT_EQ(count(), 1);
    EXPECT_EQ(members(257), (Numbers{1}));
}

TEST_F(Subscription_Types, InATypeThatIsNotRefusedTheBitIsChangedAsTheBitmapStands) {
    hb_add_network_to_subscription_group(group(), 0); // adapters 3 and 9
    EXPECT_EQ(hb_add_adapter_to_subscription_group(group(), 4), Hb_Success);
    EXPECT_EQ(members(12294), (Numbers{3, 4, 9}));
    EXPECT_EQ(count(), 3);
    EXPECT_EQ(hb_remove_node_from_subscription_group(group(), 3), Hb_Success);
    EXPECT_EQ(members(12294), (Numbers{4, 9}));
    EXPECT_EQ(count(), 2);
    EXPECT_EQ(type(), 5);
}

TEST_F(Subscription_Types, ACountOfARecordThatWasNotBuiltHereMayWrap) {
    std::memset(group(), 0, sizeof *group());
    set_type(6);
    group()->Hb_subscription_grp_union.Hb_node_subscription_grp.Hb_num_nodes = INT_MAX;
    EXPECT_EQ(hb_add_node_to_subscription_group(group(), 1), Hb_Success);
    EXPECT_EQ(count(), INT_MIN);
    EXPECT_EQ(hb_remove_node_from_subscription_group(group(), 1), Hb_Success);
    EXPECT_EQ(count(), INT_MAX);
}

// ---- Adapters ----

TEST_F(Subscription_Group, TheFirstAdapterMakesAClearedAdapterGroup) {
    EXPECT_EQ(hb_add_adapter_to_subscription_group(group(), 9), Hb_Success);
    EXPECT_EQ(type(), 2);
    EXPECT_EQ(count(), 1);
    EXPECT_EQ(members(12294), (Numbers{9}));
    EXPECT_EQ(byte(BITMAP + 1), 0x40U);
}

TEST_F(Subscription_Group, AdaptersAreAddedAndRemovedOnce) {
    for (const Hb_Adapter_Number adapter : {9U, 3U, 3U}) {
        EXPECT_EQ(hb_add_adapter_to_subscription_group(group(), adapter), Hb_Success);
    }
    EXPECT_EQ(count(), 2);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(hb_remove_adapter_from_subscription_group(group(), 9), Hb_Success);
    }
    EXPECT_EQ(count(), 1);
    EXPECT_EQ(members(12294), (Numbers{3}));
}

TEST_F(Subscription_Group, RemovingFromAnEmptyGroupMakesAnEmptyAdapterGroup) {
    EXPECT_EQ(hb_remove_adapter_from_subscription_group(group(), 9), Hb_Success);
    EXPECT_EQ(type(), 2);
    EXPECT_EQ(count(), 0);
    EXPECT_EQ(members(12294), Numbers{});
}

TEST_F(Subscription_Group, TheHighestAdapterHasTheLastBit) {
    global_config_tbl.Hb_max_nodes = 2049;
    global_config_tbl.Hb_adapters_per_node = 48;
    add_adapter(98351, 47, mapped(10, 9, 9, 9), "eth9", Hb_Entity_Up);
    EXPECT_EQ(hb_add_adapter_to_subscription_group(group(), 98351), Hb_Success);
    EXPECT_EQ(byte(BITMAP + 12293), 0x01U);
    EXPECT_EQ(byte(BITMAP + 12294), 0xEEU) << "the padding is not touched";
}

TEST_F(Subscription_Group, AnAdapterOutOfRangeOrNotConfiguredIsRefused) {
    for (const Hb_Adapter_Number adapter : {12U, 98352U, 0xFFFFFFFFU}) {
        expect_error(hb_add_adapter_to_subscription_group(group(), adapter), 4);
        expect_error(hb_remove_adapter_from_subscription_group(group(), adapter), 4);
    }
    expect_error(hb_add_adapter_to_subscription_group(group(), 5), 7);
    expect_error(hb_remove_adapter_from_subscription_group(group(), 5), 7);
    EXPECT_EQ(type(), 4);
}

// ---- Networks ----

TEST_F(Subscription_Group, ANetworkStandsForItsAdapters) {
    EXPECT_EQ(hb_add_network_to_subscription_group(group(), 0), Hb_Success);
    EXPECT_EQ(type(), 5);
    EXPECT_EQ(members(12294), (Numbers{3, 9}));
    EXPECT_EQ(count(), 2);
}

TEST_F(Subscription_Group, ASecondNetworkIsRefused) {
    hb_add_network_to_subscription_group(group(), 0);
    expect_error(hb_add_network_to_subscription_group(group(), 1), 11);
    expect_error(hb_add_network_to_subscription_group(group(), 0), 11);
    expect_error(hb_remove_network_from_subscription_group(group(), 0), 11);
    EXPECT_EQ(members(12294), (Numbers{3, 9}));
    EXPECT_EQ(count(), 2);
}

TEST_F(Subscription_Group, RemovingANetworkFromAnEmptyGroupMakesAnEmptyNetworkGroup) {
    EXPECT_EQ(hb_remove_network_from_subscription_group(group(), 0), Hb_Success);
    EXPECT_EQ(type(), 5);
    EXPECT_EQ(count(), 0);
    EXPECT_EQ(members(12294), Numbers{});
}

TEST_F(Subscription_Group, ANetworkCanBeRemovedWhereItsTypeIsNotRefused) {
    hb_add_all_adapters_to_subscription_group(group());
    set_type(3);
    EXPECT_EQ(hb_remove_network_from_subscription_group(group(), 0), Hb_Success);
    EXPECT_EQ(members(12294), (Numbers{4}));
    EXPECT_EQ(count(), 1);
}

TEST_F(Subscription_Group, ANetworkOutOfRangeOrNotConfiguredIsRefused) {
    for (const Hb_Network_Number network : std::initializer_list<Hb_Network_Number>{-1, 3, 48, 32767}) {
        expect_error(hb_add_network_to_subscription_group(group(), network), 4);
        expect_error(hb_remove_network_from_subscription_group(group(), network), 4);
    }
    expect_error(hb_add_network_to_subscription_group(group(), 2), 8);
    expect_error(hb_remove_network_from_subscription_group(group(), 2), 8);
    EXPECT_EQ(type(), 4);
}

TEST_F(Subscription_Group, AnAdapterNumberThatNoBitmapHoldsIsLeftOut) {
    add_adapter(98352, 0, mapped(10, 9, 9, 9), "eth9", Hb_Entity_Up);
    add_adapter(0xFFFFFFF0U, 0, mapped(10, 9, 9, 8), "eth9", Hb_Entity_Up);
    EXPECT_EQ(hb_add_network_to_subscription_group(group(), 0), Hb_Success);
    EXPECT_EQ(members(12294), (Numbers{3, 9}));
    EXPECT_EQ(count(), 2);
    EXPECT_EQ(hb_add_all_adapters_to_subscription_group(group()), Hb_Success);
    EXPECT_EQ(members(12294), (Numbers{3, 4, 9}));
    EXPECT_EQ(byte(BITMAP + 12294), 0xEEU);
}

// ---- Sites ----

TEST_F(Subscription_Group, TheFirstSiteMakesASiteGroupAndClearsOneByte) {
    EXPECT_EQ(hb_add_site_to_subscription_group(group(), 1), Hb_Success);
    EXPECT_EQ(type(), 7);
    EXPECT_EQ(count(), 1);
    EXPECT_EQ(byte(BITMAP), 0x40U);
    EXPECT_EQ(byte(BITMAP + 1), 0xEEU);
}

TEST_F(Subscription_Group, SitesAreAddedAndRemovedOnce) {
    global_site_tbl[0] = Hb_True;
    hb_add_site_to_subscription_group(group(), 1);
    hb_add_site_to_subscription_group(group(), 0);
    hb_add_site_to_subscription_group(group(), 0);
    EXPECT_EQ(byte(BITMAP), 0xC0U);
    EXPECT_EQ(count(), 2);
    EXPECT_EQ(hb_remove_site_from_subscription_group(group(), 1), Hb_Success);
    EXPECT_EQ(hb_remove_site_from_subscription_group(group(), 1), Hb_Success);
    EXPECT_EQ(byte(BITMAP), 0x80U);
    EXPECT_EQ(count(), 1);
}

TEST_F(Subscription_Group, RemovingFromAnEmptyGroupMakesAnEmptySiteGroup) {
    EXPECT_EQ(hb_remove_site_from_subscription_group(group(), 1), Hb_Success);
    EXPECT_EQ(type(), 7);
    EXPECT_EQ(count(), 0);
    EXPECT_EQ(byte(BITMAP), 0U);
}

TEST_F(Subscription_Group, ASiteOutOfRangeOrNotConfiguredIsRefused) {
    for (const Hb_Site_Number site : {Hb_Site_Number{2}, Hb_Site_Number{65535}}) {
        expect_error(hb_add_site_to_subscription_group(group(), site), 4);
        expect_error(hb_remove_site_from_subscription_group(group(), site), 4);
    }
    expect_error(hb_add_site_to_subscription_group(group(), 0), 84);
    expect_error(hb_remove_site_from_subscription_group(group(), 0), 84);
    global_config_tbl.Hb_max_sites = INT_MAX;
    expect_error(hb_add_site_to_subscription_group(group(), 2), 4);
    global_config_tbl.Hb_max_sites = 0;
    expect_error(hb_add_site_to_subscription_group(group(), 1), 4);
    EXPECT_EQ(type(), 4);
}

// ---- Adding all ----

TEST_F(Subscription_Group, AllNodesAreThoseThatOwnAnAdapter) {
    global_node_tbl[0] = Hb_True;
    global_node_tbl[4] = Hb_True; // not below the maximum
    global_num_nodes = 5;         // the count is copied, not computed
    set_type(7);
    EXPECT_EQ(hb_add_all_nodes_to_subscription_group(group()), Hb_Success);
    EXPECT_EQ(type(), 0);
    EXPECT_EQ(count(), 5);
    EXPECT_EQ(members(257), (Numbers{0, 1, 3}));
    EXPECT_EQ(byte(BITMAP + 257), 0xEEU);
}

TEST_F(Subscription_Group, AllAdaptersAreThoseOfTheList) {
    set_type(0);
    EXPECT_EQ(hb_add_all_adapters_to_subscription_group(group()), Hb_Success);
    EXPECT_EQ(type(), 2);
    EXPECT_EQ(count(), 3);
    EXPECT_EQ(members(12294), (Numbers{3, 4, 9}));
    EXPECT_EQ(byte(BITMAP + 12294), 0xEEU);
}

TEST_F(Subscription_Group, AllSitesAreThoseThatAreSetAndClearOneByteOnly) {
    set_type(2);
    EXPECT_EQ(hb_add_all_sites_to_subscription_group(group()), Hb_Success);
    EXPECT_EQ(type(), 7);
    EXPECT_EQ(count(), 1);
    EXPECT_EQ(byte(BITMAP), 0x40U);
    EXPECT_EQ(byte(BITMAP + 1), 0xEEU);
}

// ---- Iterations ----

TEST_F(Subscription_Group, NodesOfTheGroupAscend) {
    hb_add_all_nodes_to_subscription_group(group());
    Hb_Node_Number node = 0;
    EXPECT_EQ(hb_get_first_subscription_node(group(), &node), Hb_Success);
    EXPECT_EQ(node, 1);
    EXPECT_EQ(cursor(), 2);
    EXPECT_EQ(hb_get_next_subscription_node(group(), &node), Hb_Success);
    EXPECT_EQ(node, 3);
    EXPECT_EQ(cursor(), 4);
    expect_error(hb_get_next_subscription_node(group(), &node), 1);
    EXPECT_EQ(node, -1);
    EXPECT_EQ(cursor(), 4);
}

TEST_F(Subscription_Group, AdaptersOfTheGroupAscend) {
    hb_add_all_adapters_to_subscription_group(group());
    Numbers found;
    Hb_Adapter_Number adapter = 0;
    for (Hb_Rc rc = hb_get_first_subscription_adapter(group(), &adapter); rc == Hb_Success;
         rc = hb_get_next_subscription_adapter(group(), &adapter)) {
        found.push_back(adapter);
    }
    EXPECT_EQ(hb_get_errno(), 1);
    EXPECT_EQ(found, (Numbers{3, 4, 9}));
    EXPECT_EQ(adapter, 0xFFFFFFFFU);
    EXPECT_EQ(cursor(), 10);
}

TEST_F(Subscription_Group, SitesOfTheGroupAscend) {
    global_site_tbl[0] = Hb_True;
    hb_add_all_sites_to_subscription_group(group());
    Hb_Site_Number site = 7;
    EXPECT_EQ(hb_get_first_subscription_site(group(), &site), Hb_Success);
    EXPECT_EQ(site, 0);
    EXPECT_EQ(hb_get_next_subscription_site(group(), &site), Hb_Success);
    EXPECT_EQ(site, 1);
    expect_error(hb_get_next_subscription_site(group(), &site), 1);
    EXPECT_EQ(site, 65535);
    EXPECT_EQ(cursor(), 2);
}

TEST_F(Subscription_Group, AGroupWithoutMembersHasNothingToIterateOver) {
    hb_remove_node_from_subscription_group(group(), 1);
    Hb_Node_Number node = 7;
    expect_error(hb_get_first_subscription_node(group(), &node), 1);
    EXPECT_EQ(node, -1);
}

TEST_F(Subscription_Group, IterationStopsAtTheGeometryAndAtTheBitmaps) {
    std::memset(group(), 0xFF, sizeof *group());
    set_type(0);
    group()->Hb_cursor = 4;
    Hb_Node_Number node = 7;
    Hb_Adapter_Number adapter = 7;
    Hb_Site_Number site = 7;
    expect_error(hb_get_next_subscription_node(group(), &node), 1);
    set_type(2);
    group()->Hb_cursor = 12;
    expect_error(hb_get_next_subscription_adapter(group(), &adapter), 1);
    set_type(7);
    group()->Hb_cursor = 2;
    expect_error(hb_get_next_subscription_site(group(), &site), 1);

    global_config_tbl.Hb_max_nodes = INT_MAX;
    global_config_tbl.Hb_adapters_per_node = INT_MAX;
    global_config_tbl.Hb_max_sites = INT_MAX;
    set_type(0);
    group()->Hb_cursor = 2048;
    EXPECT_EQ(hb_get_next_subscription_node(group(), &node), Hb_Success);
    EXPECT_EQ(node, 2048);
    expect_error(hb_get_next_subscription_node(group(), &node), 1);
    set_type(2);
    group()->Hb_cursor = 98351;
    EXPECT_EQ(hb_get_next_subscription_adapter(group(), &adapter), Hb_Success);
    EXPECT_EQ(adapter, 98351U);
    expect_error(hb_get_next_subscription_adapter(group(), &adapter), 1);
    set_type(7);
    group()->Hb_cursor = 7;
    EXPECT_EQ(hb_get_next_subscription_site(group(), &site), Hb_Success);
    EXPECT_EQ(site, 7);
    expect_error(hb_get_next_subscription_site(group(), &site), 1);
}

TEST_F(Subscription_Group, ACursorBelow0StartsAt0) {
    hb_add_all_nodes_to_subscription_group(group());
    group()->Hb_cursor = INT_MIN;
    Hb_Node_Number node = 7;
    EXPECT_EQ(hb_get_next_subscription_node(group(), &node), Hb_Success);
    EXPECT_EQ(node, 1);
}

TEST_F(Subscription_Group, IterationNeedsExactlyItsOwnType) {
    Hb_Node_Number node = 7;
    Hb_Adapter_Number adapter = 7;
    Hb_Site_Number site = 7;
    for (int32_t type = 0; type <= 9; ++type) {
        SCOPED_TRACE(type);
        set_type(type);
        if (type != 0) {
            expect_error(hb_get_first_subscription_node(group(), &node), 11);
            expect_error(hb_get_next_subscription_node(group(), &node), 11);
        }
        if (type != 2) {
            expect_error(hb_get_first_subscription_adapter(group(), &adapter), 11);
            expect_error(hb_get_next_subscription_adapter(group(), &adapter), 11);
        }
        if (type != 7) {
            expect_error(hb_get_first_subscription_site(group(), &site), 11);
            expect_error(hb_get_next_subscription_site(group(), &site), 11);
        }
    }
    EXPECT_EQ(node, 7);
    EXPECT_EQ(adapter, 7U);
    EXPECT_EQ(site, 7);
}

TEST_F(Subscription_Group, TheInternalIterationsTakeAFlagForTheFirst) {
    hb_add_all_nodes_to_subscription_group(group());
    group()->Hb_cursor = 2;
    Hb_Node_Number node = 0;
    EXPECT_EQ(process_node_subscription(group(), &node, 0), Hb_Success);
    EXPECT_EQ(node, 3);
    EXPECT_EQ(process_node_subscription(group(), &node, 1), Hb_Success);
    EXPECT_EQ(node, 1);
    hb_add_all_adapters_to_subscription_group(group());
    group()->Hb_cursor = 5;
    Hb_Adapter_Number adapter = 0;
    EXPECT_EQ(process_adapter_subscription(group(), &adapter, 0), Hb_Success);
    EXPECT_EQ(adapter, 9U);
    EXPECT_EQ(process_adapter_subscription(group(), &adapter, 1), Hb_Success);
    EXPECT_EQ(adapter, 3U);
    hb_add_all_sites_to_subscription_group(group());
    group()->Hb_cursor = 2;
    Hb_Site_Number site = 0;
    EXPECT_EQ(process_site_subscription(group(), &site, 0), Hb_Failure);
    EXPECT_EQ(process_site_subscription(group(), &site, 1), Hb_Success);
    EXPECT_EQ(site, 1);
}

// ---- Null pointers and a library that cannot be opened ----

TEST_F(Subscription_Group, ANullPointerIsRefusedBeforeTheLibraryIsOpened) {
    close_library();
    Hb_Node_Number node = 0;
    Hb_Adapter_Number adapter = 0;
    Hb_Site_Number site = 0;
    expect_error(hb_empty_subscription_group(nullptr), 4);
    expect_error(hb_add_node_to_subscription_group(nullptr, 1), 4);
    expect_error(hb_remove_node_from_subscription_group(nullptr, 1), 4);
    expect_error(hb_add_adapter_to_subscription_group(nullptr, 3), 4);
    expect_error(hb_remove_adapter_from_subscription_group(nullptr, 3), 4);
    expect_error(hb_add_network_to_subscription_group(nullptr, 0), 4);
    expect_error(hb_remove_network_from_subscription_group(nullptr, 0), 4);
    expect_error(hb_add_site_to_subscription_group(nullptr, 1), 4);
    expect_error(hb_remove_site_from_subscription_group(nullptr, 1), 4);
    expect_error(hb_add_all_nodes_to_subscription_group(nullptr), 4);
    expect_error(hb_add_all_adapters_to_subscription_group(nullptr), 4);
    expect_error(hb_add_all_sites_to_subscription_group(nullptr), 4);
    expect_error(hb_get_first_subscription_node(nullptr, &node), 4);
    expect_error(hb_get_first_subscription_node(group(), nullptr), 4);
    expect_error(hb_get_next_subscription_node(nullptr, &node), 4);
    expect_error(hb_get_next_subscription_node(group(), nullptr), 4);
    expect_error(hb_get_first_subscription_adapter(nullptr, &adapter), 4);
    expect_error(hb_get_first_subscription_adapter(group(), nullptr), 4);
    expect_error(hb_get_next_subscription_adapter(nullptr, &adapter), 4);
    expect_error(hb_get_next_subscription_adapter(group(), nullptr), 4);
    expect_error(hb_get_first_subscription_site(nullptr, &site), 4);
    expect_error(hb_get_first_subscription_site(group(), nullptr), 4);
    expect_error(hb_get_next_subscription_site(nullptr, &site), 4);
    expect_error(hb_get_next_subscription_site(group(), nullptr), 4);
}

TEST_F(Subscription_Group, WhereNoDaemonListensGroupsAreLeftAlone) {
    close_library();
    set_type(0);
    const std::string before(reinterpret_cast<const char *>(group()), sizeof *group());
    Hb_Node_Number node = 7;
    Hb_Adapter_Number adapter = 7;
    Hb_Site_Number site = 7;
    expect_error(hb_empty_subscription_group(group()), 15);
    expect_error(hb_add_node_to_subscription_group(group(), 1), 15);
    expect_error(hb_remove_node_from_subscription_group(group(), 1), 15);
    expect_error(hb_add_adapter_to_subscription_group(group(), 3), 15);
    expect_error(hb_remove_adapter_from_subscription_group(group(), 3), 15);
    expect_error(hb_add_network_to_subscription_group(group(), 0), 15);
    expect_error(hb_remove_network_from_subscription_group(group(), 0), 15);
    expect_error(hb_add_site_to_subscription_group(group(), 1), 15);
    expect_error(hb_remove_site_from_subscription_group(group(), 1), 15);
    expect_error(hb_add_all_nodes_to_subscription_group(group()), 15);
    expect_error(hb_add_all_adapters_to_subscription_group(group()), 15);
    expect_error(hb_add_all_sites_to_subscription_group(group()), 15);
    expect_error(hb_get_first_subscription_node(group(), &node), 15);
    expect_error(hb_get_next_subscription_node(group(), &node), 15);
    expect_error(hb_get_first_subscription_adapter(group(), &adapter), 15);
    expect_error(hb_get_next_subscription_adapter(group(), &adapter), 15);
    expect_error(hb_get_first_subscription_site(group(), &site), 15);
    expect_error(hb_get_next_subscription_site(group(), &site), 15);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(group()), sizeof *group()), before);
    EXPECT_EQ(node, 7);
    EXPECT_EQ(adapter, 7U);
    EXPECT_EQ(site, 7);
}

} // namespace
