// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <cstring>

#include "cluster_fixture.h"
#include "lib/api/hb_configuration.h"
#include "lib/api/session.h"
#include "lib/base/error_number.h"
#include "lib/hb_global_data/configuration_table.h"
#include "trace_spy.h"

namespace {

using Configuration = Cluster_Test;

// The results of one "first" and all "next" calls, including the failing one at the end.
template <typename Item, typename First, typename Next> std::vector<Item> all(First first, Next next) {
    std::vector<Item> items;
    Hb_Cursor cursor = 1000;
    Item item{};
    for (Hb_Rc rc = first(&item, &cursor); rc == Hb_Success; rc = next(&item, &cursor)) {
        items.push_back(item);
    }
    EXPECT_EQ(hb_get_errno(), 1);
    items.push_back(item);
    return items;
}

// ---- Counts ----

TEST_F(Configuration, GivesTheNumberOfThisNode) {
    Hb_Node_Number node = 77;
    EXPECT_EQ(hb_get_my_node_number(&node), Hb_Success);
    EXPECT_EQ(node, 1);
}

TEST_F(Configuration, CountsComeFromTheirOwnSources) {
    global_config_tbl.Hb_num_sites = 9; // does not affect the site count
    global_num_sites = 1;
    int count = 0;
    EXPECT_EQ(hb_get_number_of_configured_nodes(&count), Hb_Success);
    EXPECT_EQ(count, 2) << "of the nodes that own an adapter";
    EXPECT_EQ(hb_get_number_of_configured_networks(&count), Hb_Success);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(hb_get_number_of_configured_adapters(&count), Hb_Success);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(hb_get_number_of_configured_sites(&count), Hb_Success);
    EXPECT_EQ(count, 1);
}

// ---- Iterations ----

TEST_F(Configuration, NodesWithoutAdaptersAreSkipped) {
    EXPECT_EQ(all<Hb_Node_Number>(hb_get_first_configured_node_number, hb_get_next_configured_node_number),
              (std::vector<Hb_Node_Number>{1, 3, -1}));
}

TEST_F(Configuration, NodesAtOrBeyondTheMaximumAreNotGiven) {
    global_node_tbl[4] = Hb_True;
    global_config_tbl.Hb_max_nodes = 3;
    EXPECT_EQ(all<Hb_Node_Number>(hb_get_first_configured_node_number, hb_get_next_configured_node_number),
              (std::vector<Hb_Node_Number>{1, -1}));
}

TEST_F(Configuration, NetworksWithoutANameAreSkipped) {
    std::strcpy(global_config_tbl.Hb_global_network_list[2].Hb_network_name, "net_c");
    global_config_tbl.Hb_global_network_list[1].Hb_network_name[0] = '\0';
    EXPECT_EQ(
        all<Hb_Network_Number>(hb_get_first_configured_network_number, hb_get_next_configured_network_number),
        (std::vector<Hb_Network_Number>{0, 2, -1}));
}

TEST_F(Configuration, NetworksAreBoundedByTheAdaptersOfANodeAndNotByTheirCount) {
    std::strcpy(global_config_tbl.Hb_global_network_list[2].Hb_network_name, "net_c");
    std::strcpy(global_config_tbl.Hb_global_network_list[3].Hb_network_name, "net_d");
    EXPECT_EQ(
        all<Hb_Network_Number>(hb_get_first_configured_network_number, hb_get_next_configured_network_number),
        (std::vector<Hb_Network_Number>{0, 1, 2, -1}));
}

TEST_F(Configuration, AdaptersComeInOrderOfDeliveryWhateverTheirState) {
    EXPECT_EQ(
        all<Hb_Adapter_Number>(hb_get_first_configured_adapter_number, hb_get_next_configured_adapter_number),
        (std::vector<Hb_Adapter_Number>{9, 4, 3, 0xFFFFFFFFU}));
}

TEST_F(Configuration, InDaemonModeThereAreNoSites) {
    Hb_Site_Number site = 7;
    Hb_Cursor cursor = 5;
    EXPECT_EQ(hb_get_first_configured_site_number(&site, &cursor), Hb_Failure);
    EXPECT_EQ(site, 65535);
    EXPECT_EQ(cursor, 5);
    EXPECT_EQ(hb_get_errno(), 1);
    int count = 9;
    EXPECT_EQ(hb_get_number_of_configured_sites(&count), Hb_Success);
    EXPECT_EQ(count, 0);
}

TEST_F(Configuration, SitesThatAreSetAreGiven) {
    global_site_tbl[0] = Hb_True;
    global_site_tbl[1] = Hb_True;
    global_config_tbl.Hb_max_sites = 2;
    EXPECT_EQ(all<Hb_Site_Number>(hb_get_first_configured_site_number, hb_get_next_configured_site_number),
              (std::vector<Hb_Site_Number>{0, 1, 65535}));
    global_site_tbl[0] = Hb_False;
    EXPECT_EQ(all<Hb_Site_Number>(hb_get_first_configured_site_number, hb_get_next_configured_site_number),
              (std::vector<Hb_Site_Number>{1, 65535}));
}

std::vector<Hb_Adapter_Number> adapters_in_network(Hb_Network_Number network) {
    return all<Hb_Adapter_Number>(
        [network](auto *item, auto *cursor) {
            return hb_get_first_configured_adapter_in_network(network, item, cursor);
        },
        [network](auto *item, auto *cursor) {
            return hb_get_next_configured_adapter_in_network(network, item, cursor);
        });
}

TEST_F(Configuration, AdaptersOfANetworkComeInOrderOfDelivery) {
    EXPECT_EQ(adapters_in_network(0), (std::vector<Hb_Adapter_Number>{9, 3, 0xFFFFFFFFU}));
    EXPECT_EQ(adapters_in_network(1), (std::vector<Hb_Adapter_Number>{4, 0xFFFFFFFFU}));
}

TEST_F(Configuration, ANetworkWithoutAdaptersIsNothingToIterateOver) {
    std::strcpy(global_config_tbl.Hb_global_network_list[2].Hb_network_name, "net_c");
    EXPECT_EQ(adapters_in_network(2), (std::vector<Hb_Adapter_Number>{0xFFFFFFFFU}));
}

// Both calls of a pair fail with the error and change neither item nor cursor.
template <typename Call> void expect_refused(Call call, int error) {
    Hb_Adapter_Number adapter = 1234;
    Hb_Cursor cursor = 56;
    global_hb_errno = 0;
    EXPECT_EQ(call(&adapter, &cursor), Hb_Failure);
    EXPECT_EQ(hb_get_errno(), error);
    EXPECT_EQ(adapter, 1234U);
    EXPECT_EQ(cursor, 56);
}

void expect_network_refused(Hb_Network_Number network, int error) {
    SCOPED_TRACE(network);
    expect_refused([=](auto *a, auto *c) { return hb_get_first_configured_adapter_in_network(network, a, c); },
                   error);
    expect_refused([=](auto *a, auto *c) { return hb_get_next_configured_adapter_in_network(network, a, c); },
                   error);
}

TEST_F(Configuration, AdaptersOfANetworkOutOfRangeOrNotConfiguredAreRefused) {
    expect_network_refused(-1, 4);
    expect_network_refused(3, 4);
    expect_network_refused(32767, 4);
    expect_network_refused(-32768, 4);
    expect_network_refused(2, 8);
}

std::vector<Hb_Adapter_Number> adapters_in_node(Hb_Node_Number node) {
    return all<Hb_Adapter_Number>(
        [node](auto *item, auto *cursor) {
            return hb_get_first_configured_adapter_in_node(node, item, cursor);
        },
        [node](auto *item, auto *cursor) {
            return hb_get_next_configured_adapter_in_node(node, item, cursor);
        });
}

TEST_F(Configuration, AdaptersOfANodeComeBySlot) {
    EXPECT_EQ(adapters_in_node(1), (std::vector<Hb_Adapter_Number>{3, 4, 0xFFFFFFFFU}));
    EXPECT_EQ(adapters_in_node(3), (std::vector<Hb_Adapter_Number>{9, 0xFFFFFFFFU}));
}

TEST_F(Configuration, TheCursorOfANodesAdaptersIsTheSlotAfterTheLast) {
    add_adapter(11, 2, mapped(10, 1, 0, 11), "eth2", Hb_Entity_Up); // slot 2 of node 3
    Hb_Adapter_Number adapter = 0;
    Hb_Cursor cursor = 0;
    EXPECT_EQ(hb_get_first_configured_adapter_in_node(3, &adapter, &cursor), Hb_Success);
    EXPECT_EQ(cursor, 1);
    EXPECT_EQ(hb_get_next_configured_adapter_in_node(3, &adapter, &cursor), Hb_Success);
    EXPECT_EQ(adapter, 11U);
    EXPECT_EQ(cursor, 3);
}

void expect_node_refused(Hb_Node_Number node, int error) {
    SCOPED_TRACE(node);
    expect_refused([=](auto *a, auto *c) { return hb_get_first_configured_adapter_in_node(node, a, c); },
                   error);
    expect_refused([=](auto *a, auto *c) { return hb_get_next_configured_adapter_in_node(node, a, c); }, error);
    int count = 99;
    global_hb_errno = 0;
    EXPECT_EQ(hb_get_number_of_configured_adapters_in_node(node, &count), Hb_Failure);
    EXPECT_EQ(hb_get_errno(), error);
    EXPECT_EQ(count, 99);
}

TEST_F(Configuration, ANodeOutOfRangeOrWithoutAdaptersIsRefused) {
    expect_node_refused(-1, 4);
    expect_node_refused(4, 4);
    expect_node_refused(32767, 4);
    expect_node_refused(0, 9);
    expect_node_refused(2, 9);
}

TEST_F(Configuration, FirstIgnoresTheCursorAndNextGoesOnFromIt) {
    Hb_Node_Number node = 0;
    Hb_Cursor cursor = 3;
    EXPECT_EQ(hb_get_first_configured_node_number(&node, &cursor), Hb_Success);
    EXPECT_EQ(node, 1);
    EXPECT_EQ(cursor, 2);
    cursor = 0;
    EXPECT_EQ(hb_get_next_configured_node_number(&node, &cursor), Hb_Success);
    EXPECT_EQ(node, 1);
    cursor = 3;
    EXPECT_EQ(hb_get_next_configured_node_number(&node, &cursor), Hb_Success);
    EXPECT_EQ(node, 3);
    EXPECT_EQ(cursor, 4);
}

TEST_F(Configuration, AtTheEndTheCursorStays) {
    Hb_Node_Number node = 0;
    Hb_Cursor cursor = 4;
    EXPECT_EQ(hb_get_next_configured_node_number(&node, &cursor), Hb_Failure);
    EXPECT_EQ(node, -1);
    EXPECT_EQ(cursor, 4);
    EXPECT_EQ(hb_get_errno(), 1);
}

TEST_F(Configuration, ACursorBelow0StartsAt0) {
    for (const Hb_Cursor start : {-1, INT_MIN}) {
        Hb_Adapter_Number adapter = 0;
        Hb_Cursor cursor = start;
        EXPECT_EQ(hb_get_next_configured_adapter_number(&adapter, &cursor), Hb_Success);
        EXPECT_EQ(adapter, 9U);
        EXPECT_EQ(cursor, 1);
        Hb_Node_Number node = 0;
        cursor = start;
        EXPECT_EQ(hb_get_next_configured_node_number(&node, &cursor), Hb_Success);
        EXPECT_EQ(node, 1);
        cursor = start;
        EXPECT_EQ(hb_get_next_configured_adapter_in_node(1, &adapter, &cursor), Hb_Success);
        EXPECT_EQ(adapter, 3U);
    }
}

TEST_F(Configuration, ACursorFarBeyondTheEndFindsNothing) {
    Hb_Adapter_Number adapter = 0;
    Hb_Network_Number network = 0;
    Hb_Cursor cursor = INT_MAX;
    EXPECT_EQ(hb_get_next_configured_adapter_number(&adapter, &cursor), Hb_Failure);
    EXPECT_EQ(hb_get_next_configured_adapter_in_network(0, &adapter, &cursor), Hb_Failure);
    EXPECT_EQ(hb_get_next_configured_adapter_in_node(1, &adapter, &cursor), Hb_Failure);
    EXPECT_EQ(hb_get_next_configured_network_number(&network, &cursor), Hb_Failure);
    EXPECT_EQ(network, -1);
    EXPECT_EQ(cursor, INT_MAX);
}

TEST_F(Configuration, BoundsBeyondTheArraysStopAtTheArrays) {
    global_config_tbl.Hb_max_nodes = INT_MAX;
    global_config_tbl.Hb_adapters_per_node = INT_MAX;
    global_config_tbl.Hb_max_sites = INT_MAX;
    global_node_tbl[2048] = Hb_True;
    for (Hb_Network_Entry &entry : global_config_tbl.Hb_global_network_list) {
        std::strcpy(entry.Hb_network_name, "x");
    }
    EXPECT_EQ(all<Hb_Node_Number>(hb_get_first_configured_node_number, hb_get_next_configured_node_number),
              (std::vector<Hb_Node_Number>{1, 3, 2048, -1}));
    EXPECT_EQ(
        all<Hb_Network_Number>(hb_get_first_configured_network_number, hb_get_next_configured_network_number)
            .size(),
        49U);
    EXPECT_EQ(all<Hb_Site_Number>(hb_get_first_configured_site_number, hb_get_next_configured_site_number),
              (std::vector<Hb_Site_Number>{65535}));
    EXPECT_EQ(adapters_in_node(2048), (std::vector<Hb_Adapter_Number>{0xFFFFFFFFU}));
    expect_node_refused(2049, 4);
    expect_network_refused(48, 4);
}

TEST_F(Configuration, ATableWithoutListsHasNoAdapters) {
    close_library();
    client_initialized = 1;
    global_config_tbl.Hb_num_adapters = 5;
    Hb_Adapter_Number adapter = 0;
    Hb_Cursor cursor = 0;
    EXPECT_EQ(hb_get_first_configured_adapter_number(&adapter, &cursor), Hb_Failure);
    EXPECT_EQ(hb_get_errno(), 1);
    EXPECT_EQ(hb_get_adapter_number_by_address(mapped(10, 1, 0, 1), &adapter), Hb_Failure);
    EXPECT_EQ(hb_get_errno(), 7);
}

// ---- Look-ups ----

TEST_F(Configuration, AnAddressGivesTheFirstAdapterInListOrder) {
    Hb_Adapter_Number adapter = 0;
    EXPECT_EQ(hb_get_adapter_number_by_address(mapped(10, 1, 0, 3), &adapter), Hb_Success);
    EXPECT_EQ(adapter, 9U);
    EXPECT_EQ(hb_get_adapter_number_by_address(mapped(10, 1, 0, 1), &adapter), Hb_Success);
    EXPECT_EQ(adapter, 4U) << "4 was delivered before 3";
}

TEST_F(Configuration, AnUnknownAddressGivesNoAdapter) {
    Hb_Adapter_Number adapter = 0;
    EXPECT_EQ(hb_get_adapter_number_by_address(mapped(10, 1, 0, 2), &adapter), Hb_Failure);
    EXPECT_EQ(adapter, 0xFFFFFFFFU);
    EXPECT_EQ(hb_get_errno(), 7);
}

TEST_F(Configuration, AllSixteenBytesOfAnAddressCount) {
    Hb_Adapter_Number adapter = 0;
    Hb_IP_address6 address = mapped(10, 1, 0, 3);
    address.i6_ipv6.s6_addr[0] = 1;
    EXPECT_EQ(hb_get_adapter_number_by_address(address, &adapter), Hb_Failure);
}

TEST_F(Configuration, AnIndexWithoutTheAddressHidesNoAdapter) {
    global_config_tbl.ip_hash = Hash_init("preMOX_Hb_IP list", 257);
    Hb_Adapter_Number adapter = 0;
    EXPECT_EQ(hb_get_adapter_number_by_address(mapped(10, 1, 0, 3), &adapter), Hb_Success);
    EXPECT_EQ(adapter, 9U);
}

TEST_F(Configuration, NodeAndSlotGiveTheAdapter) {
    Hb_Adapter_Number adapter = 0;
    EXPECT_EQ(hb_get_adapter_number_by_node_number(1, 1, &adapter), Hb_Success);
    EXPECT_EQ(adapter, 4U);
    EXPECT_EQ(hb_get_adapter_number_by_node_number(3, 0, &adapter), Hb_Success);
    EXPECT_EQ(adapter, 9U);
}

TEST_F(Configuration, NodeAndSlotDoNotAskWhetherTheNodeIsConfigured) {
    Hb_Adapter_Number adapter = 1234;
    EXPECT_EQ(hb_get_adapter_number_by_node_number(0, 0, &adapter), Hb_Failure);
    EXPECT_EQ(hb_get_errno(), 7);
    EXPECT_EQ(adapter, 1234U);
    global_node_tbl[1] = Hb_False;
    EXPECT_EQ(hb_get_adapter_number_by_node_number(1, 0, &adapter), Hb_Success);
    EXPECT_EQ(adapter, 3U);
}

TEST_F(Configuration, NodeOrSlotOutOfRangeAreRefused) {
    const std::vector<std::pair<Hb_Node_Number, int>> outside = {{-1, 0},      {4, 0},       {1, -1}, {1, 3},
                                                                 {1, INT_MAX}, {1, INT_MIN}, {-1, 3}};
    for (const auto &[node, slot] : outside) {
        Hb_Adapter_Number adapter = 1234;
        global_hb_errno = 0;
        EXPECT_EQ(hb_get_adapter_number_by_node_number(node, slot, &adapter), Hb_Failure);
        EXPECT_EQ(hb_get_errno(), 4) << node << " " << slot;
        EXPECT_EQ(adapter, 1234U);
    }
}

TEST_F(Configuration, CountsTheAdaptersOfANode) {
    int count = 0;
    EXPECT_EQ(hb_get_number_of_configured_adapters_in_node(1, &count), Hb_Success);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(hb_get_number_of_configured_adapters_in_node(3, &count), Hb_Success);
    EXPECT_EQ(count, 1);
}

TEST_F(Configuration, AnAdapterGivesItsNode) {
    Hb_Node_Number node = 0;
    EXPECT_EQ(hb_get_node_number_by_adapter_number(4, &node), Hb_Success);
    EXPECT_EQ(node, 1);
    EXPECT_EQ(hb_get_node_number_by_adapter_number(9, &node), Hb_Success);
    EXPECT_EQ(node, 3);
}

TEST_F(Configuration, AnAdapterGivesItsType) {
    char type[36];
    EXPECT_EQ(hb_get_adapter_type_by_number(4, type), Hb_Success);
    EXPECT_STREQ(type, "ib0");
}

TEST_F(Configuration, ATypeWithoutItsNulIsCutAtTheFieldsSize) {
    add_adapter(0, 0, mapped(10, 1, 0, 9), std::string(36, 't'), Hb_Entity_Up);
    char type[37];
    std::memset(type, '#', sizeof type);
    EXPECT_EQ(hb_get_adapter_type_by_number(0, type), Hb_Success);
    EXPECT_EQ(std::string(type), std::string(35, 't'));
    EXPECT_EQ(type[36], '#');
}

TEST_F(Configuration, AnAdapterGivesAllBytesOfItsAddress) {
    const Hb_IP_address6 expected = address_of({0xFE, 0x80, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 0xFF});
    add_adapter(0, 0, expected, "eth0", Hb_Entity_Up);
    Hb_IP_address6 address{};
    EXPECT_EQ(hb_get_adapter_address_by_number(0, &address), Hb_Success);
    EXPECT_EQ(std::memcmp(&address, &expected, 16), 0);
}

void expect_adapter_refused(Hb_Adapter_Number adapter, int error) {
    SCOPED_TRACE(adapter);
    Hb_Node_Number node = 77;
    global_hb_errno = 0;
    EXPECT_EQ(hb_get_node_number_by_adapter_number(adapter, &node), Hb_Failure);
    EXPECT_EQ(hb_get_errno(), error);
    EXPECT_EQ(node, 77);
    char type[36] = "as it was";
    global_hb_errno = 0;
    EXPECT_EQ(hb_get_adapter_type_by_number(adapter, type), Hb_Failure);
    EXPECT_EQ(hb_get_errno(), error);
    EXPECT_STREQ(type, "as it was");
    Hb_IP_address6 address = mapped(1, 2, 3, 4);
    const Hb_IP_address6 before = address;
    global_hb_errno = 0;
    EXPECT_EQ(hb_get_adapter_address_by_number(adapter, &address), Hb_Failure);
    EXPECT_EQ(hb_get_errno(), error);
    EXPECT_EQ(std::memcmp(&address, &before, 16), 0);
}

TEST_F(Configuration, AnAdapterOutOfRangeOrNotConfiguredIsRefused) {
    expect_adapter_refused(12, 4);
    expect_adapter_refused(0xFFFFFFFFU, 4);
    expect_adapter_refused(0, 7);
    expect_adapter_refused(5, 7);
}

TEST_F(Configuration, WithoutAdapterSlotsEveryNumberIsOutOfRange) {
    global_config_tbl.Hb_adapters_per_node = 0;
    expect_adapter_refused(0, 4);
    expect_adapter_refused(9, 4);
    expect_network_refused(0, 4);
    int count = 9;
    EXPECT_EQ(hb_get_number_of_configured_adapters_in_node(1, &count), Hb_Success);
    EXPECT_EQ(count, 0);
}

TEST_F(Configuration, ANetworkGivesItsNameAndType) {
    char name[70];
    char type[16];
    EXPECT_EQ(hb_get_network_name_by_number(1, name), Hb_Success);
    EXPECT_STREQ(name, "net_b");
    EXPECT_EQ(hb_get_network_type_by_number(1, type), Hb_Success);
    EXPECT_STREQ(type, "ib");
}

TEST_F(Configuration, AnUnconfiguredNetworkHasNoNameButAType) {
    char name[70] = "as it was";
    char type[16] = "as it was";
    EXPECT_EQ(hb_get_network_name_by_number(2, name), Hb_Failure);
    EXPECT_EQ(hb_get_errno(), 8);
    EXPECT_STREQ(name, "as it was");
    EXPECT_EQ(hb_get_network_type_by_number(2, type), Hb_Success);
    EXPECT_STREQ(type, "");
    std::strcpy(global_config_tbl.Hb_global_network_list[2].Hb_network_type, "left");
    EXPECT_EQ(hb_get_network_type_by_number(2, type), Hb_Success);
    EXPECT_STREQ(type, "left");
}

TEST_F(Configuration, ANetworkOutOfRangeHasNeither) {
    for (const Hb_Network_Number network : std::initializer_list<Hb_Network_Number>{-1, 3, 48, 32767}) {
        char text[70] = "as it was";
        global_hb_errno = 0;
        EXPECT_EQ(hb_get_network_name_by_number(network, text), Hb_Failure);
        EXPECT_EQ(hb_get_errno(), 4) << network;
        global_hb_errno = 0;
        EXPECT_EQ(hb_get_network_type_by_number(network, text), Hb_Failure);
        EXPECT_EQ(hb_get_errno(), 4) << network;
        EXPECT_STREQ(text, "as it was");
    }
}

TEST_F(Configuration, NetworkTextsWithoutTheirNulAreCutAtTheFieldsSize) {
    Hb_Network_Entry &entry = global_config_tbl.Hb_global_network_list[0];
    std::memset(&entry, 'n', sizeof entry);
    char name[71];
    char type[17];
    std::memset(name, '#', sizeof name);
    std::memset(type, '#', sizeof type);
    EXPECT_EQ(hb_get_network_name_by_number(0, name), Hb_Success);
    EXPECT_EQ(std::string(name), std::string(69, 'n'));
    EXPECT_EQ(name[70], '#');
    EXPECT_EQ(hb_get_network_type_by_number(0, type), Hb_Success);
    EXPECT_EQ(std::string(type), std::string(15, 'n'));
    EXPECT_EQ(type[16], '#');
    Hb_Network_Number network = 7;
    EXPECT_EQ(hb_get_network_number_by_name(name, &network), Hb_Success);
    EXPECT_EQ(network, 0) << "the name that was given finds its network";
    std::string longer(70, 'n');
    EXPECT_EQ(hb_get_network_number_by_name(longer.data(), &network), Hb_Failure);
}

Hb_Network_Number network_called(std::string name) {
    Hb_Network_Number network = 77;
    const Hb_Rc rc = hb_get_network_number_by_name(name.data(), &network);
    EXPECT_EQ(rc, network == -1 ? Hb_Failure : Hb_Success);
    return network;
}

TEST_F(Configuration, ANameGivesTheLowestNetworkThatHasItExactly) {
    EXPECT_EQ(network_called("net_a"), 0);
    EXPECT_EQ(network_called("net_b"), 1);
    std::strcpy(global_config_tbl.Hb_global_network_list[2].Hb_network_name, "net_b");
    EXPECT_EQ(network_called("net_b"), 1);
    global_config_tbl.Hb_global_network_list[1].Hb_network_name[0] = '\0';
    EXPECT_EQ(network_called("net_b"), 2);
}

TEST_F(Configuration, ANameThatNoNetworkHasGivesNone) {
    for (const char *name : {"net", "net_aa", "NET_A", ""}) {
        global_hb_errno = 0;
        EXPECT_EQ(network_called(name), -1) << name;
        EXPECT_EQ(hb_get_errno(), 8) << name;
    }
}

TEST_F(Configuration, ANetworkBeyondTheAdaptersOfANodeIsNotFoundByName) {
    std::strcpy(global_config_tbl.Hb_global_network_list[3].Hb_network_name, "net_d");
    EXPECT_EQ(network_called("net_d"), -1);
}

// ---- Traces ----

TEST_F(Configuration, LookUpsByAdapterAreTracedAtInfoLevel) {
    Hb_Node_Number node = 0;
    char type[36];
    Hb_IP_address6 address{};
    const Trace_Spy spy(0, 1, 0);
    errno = ENOTTY;
    hb_get_node_number_by_adapter_number(4, &node);
    hb_get_adapter_type_by_number(4, type);
    hb_get_adapter_address_by_number(4, &address);
    EXPECT_EQ(errno, ENOTTY);
    const std::string four("\4\0\0\0", 4);
    EXPECT_EQ(spy.records(), (std::vector<Trace_Record>{
                                 {"_HBC", 151, 1, {4, 1}, {}},
                                 {"_HBC", 152, 1, {}, {std::string("ib0\0", 4), four}},
                                 {"_HBC", 153, 1, {}, {std::string("10.1.0.1\0", 9), four}},
                             }));
}

TEST_F(Configuration, NothingIsTracedAtOtherLevelsOrOnFailure) {
    Hb_Node_Number node = 0;
    char type[36];
    Hb_IP_address6 address{};
    {
        const Trace_Spy spy(1, 0, 1);
        hb_get_node_number_by_adapter_number(4, &node);
        hb_get_adapter_type_by_number(4, type);
        hb_get_adapter_address_by_number(4, &address);
        EXPECT_TRUE(spy.records().empty());
    }
    const Trace_Spy spy(1, 1, 1);
    hb_get_node_number_by_adapter_number(5, &node);
    hb_get_adapter_type_by_number(5, type);
    hb_get_adapter_address_by_number(5, &address);
    EXPECT_TRUE(spy.records().empty());
}

// ---- Null pointers and a library that cannot be opened ----

TEST_F(Configuration, ANullPointerIsRefusedBeforeTheLibraryIsOpened) {
    close_library();
    Hb_Cursor cursor = 0;
    Hb_Node_Number node = 0;
    Hb_Site_Number site = 0;
    Hb_Network_Number network = 0;
    Hb_Adapter_Number adapter = 0;
    char name[] = "net_a";
    const auto expect_4 = [](Hb_Rc rc) {
        EXPECT_EQ(rc, Hb_Failure);
        EXPECT_EQ(hb_get_errno(), 4);
        global_hb_errno = 0;
    };
    expect_4(hb_get_my_node_number(nullptr));
    expect_4(hb_get_number_of_configured_nodes(nullptr));
    expect_4(hb_get_number_of_configured_networks(nullptr));
    expect_4(hb_get_number_of_configured_adapters(nullptr));
    expect_4(hb_get_number_of_configured_sites(nullptr));
    expect_4(hb_get_first_configured_node_number(nullptr, &cursor));
    expect_4(hb_get_first_configured_node_number(&node, nullptr));
    expect_4(hb_get_next_configured_node_number(nullptr, &cursor));
    expect_4(hb_get_next_configured_node_number(&node, nullptr));
    expect_4(hb_get_first_configured_site_number(nullptr, &cursor));
    expect_4(hb_get_first_configured_site_number(&site, nullptr));
    expect_4(hb_get_next_configured_site_number(nullptr, &cursor));
    expect_4(hb_get_next_configured_site_number(&site, nullptr));
    expect_4(hb_get_first_configured_network_number(nullptr, &cursor));
    expect_4(hb_get_first_configured_network_number(&network, nullptr));
    expect_4(hb_get_next_configured_network_number(nullptr, &cursor));
    expect_4(hb_get_next_configured_network_number(&network, nullptr));
    expect_4(hb_get_first_configured_adapter_number(nullptr, &cursor));
    expect_4(hb_get_first_configured_adapter_number(&adapter, nullptr));
    expect_4(hb_get_next_configured_adapter_number(nullptr, &cursor));
    expect_4(hb_get_next_configured_adapter_number(&adapter, nullptr));
    expect_4(hb_get_first_configured_adapter_in_network(0, nullptr, &cursor));
    expect_4(hb_get_first_configured_adapter_in_network(0, &adapter, nullptr));
    expect_4(hb_get_next_configured_adapter_in_network(0, nullptr, &cursor));
    expect_4(hb_get_next_configured_adapter_in_network(0, &adapter, nullptr));
    expect_4(hb_get_first_configured_adapter_in_node(1, nullptr, &cursor));
    expect_4(hb_get_first_configured_adapter_in_node(1, &adapter, nullptr));
    expect_4(hb_get_next_configured_adapter_in_node(1, nullptr, &cursor));
    expect_4(hb_get_next_configured_adapter_in_node(1, &adapter, nullptr));
    expect_4(hb_get_adapter_number_by_address(mapped(10, 1, 0, 1), nullptr));
    expect_4(hb_get_adapter_number_by_node_number(1, 0, nullptr));
    expect_4(hb_get_number_of_configured_adapters_in_node(1, nullptr));
    expect_4(hb_get_node_number_by_adapter_number(4, nullptr));
    expect_4(hb_get_adapter_type_by_number(4, nullptr));
    expect_4(hb_get_adapter_address_by_number(4, nullptr));
    expect_4(hb_get_network_name_by_number(0, nullptr));
    expect_4(hb_get_network_type_by_number(0, nullptr));
    expect_4(hb_get_network_number_by_name(nullptr, &network));
    expect_4(hb_get_network_number_by_name(name, nullptr));
}

TEST_F(Configuration, WhereNoDaemonListensQueriesFailAndWriteNothing) {
    close_library();
    int count = 77;
    Hb_Cursor cursor = 77;
    Hb_Node_Number node = 77;
    Hb_Site_Number site = 77;
    Hb_Network_Number network = 77;
    Hb_Adapter_Number adapter = 77;
    Hb_IP_address6 address = mapped(7, 7, 7, 7);
    char text[70] = "as it was";
    const auto expect_15 = [](Hb_Rc rc) {
        EXPECT_EQ(rc, Hb_Failure);
        EXPECT_EQ(hb_get_errno(), 15);
        global_hb_errno = 0;
    };
    expect_15(hb_get_my_node_number(&node));
    expect_15(hb_get_number_of_configured_nodes(&count));
    expect_15(hb_get_number_of_configured_networks(&count));
    expect_15(hb_get_number_of_configured_adapters(&count));
    expect_15(hb_get_number_of_configured_sites(&count));
    expect_15(hb_get_first_configured_node_number(&node, &cursor));
    expect_15(hb_get_next_configured_node_number(&node, &cursor));
    expect_15(hb_get_first_configured_site_number(&site, &cursor));
    expect_15(hb_get_next_configured_site_number(&site, &cursor));
    expect_15(hb_get_first_configured_network_number(&network, &cursor));
    expect_15(hb_get_next_configured_network_number(&network, &cursor));
    expect_15(hb_get_first_configured_adapter_number(&adapter, &cursor));
    expect_15(hb_get_next_configured_adapter_number(&adapter, &cursor));
    expect_15(hb_get_first_configured_adapter_in_network(0, &adapter, &cursor));
    expect_15(hb_get_next_configured_adapter_in_network(0, &adapter, &cursor));
    expect_15(hb_get_first_configured_adapter_in_node(1, &adapter, &cursor));
    expect_15(hb_get_next_configured_adapter_in_node(1, &adapter, &cursor));
    expect_15(hb_get_adapter_number_by_address(mapped(10, 1, 0, 1), &adapter));
    expect_15(hb_get_adapter_number_by_node_number(1, 0, &adapter));
    expect_15(hb_get_number_of_configured_adapters_in_node(1, &count));
    expect_15(hb_get_node_number_by_adapter_number(4, &node));
    expect_15(hb_get_adapter_type_by_number(4, text));
    expect_15(hb_get_adapter_address_by_number(4, &address));
    expect_15(hb_get_network_name_by_number(0, text));
    expect_15(hb_get_network_type_by_number(0, text));
    expect_15(hb_get_network_number_by_name(text, &network));
    EXPECT_EQ(count, 77);
    EXPECT_EQ(cursor, 77);
    EXPECT_EQ(node, 77);
    EXPECT_EQ(site, 77);
    EXPECT_EQ(network, 77);
    EXPECT_EQ(adapter, 77U);
    const Hb_IP_address6 before = mapped(7, 7, 7, 7);
    EXPECT_EQ(std::memcmp(&address, &before, 16), 0);
    EXPECT_STREQ(text, "as it was");
}

TEST_F(Configuration, TheInternalIterationsTakeAFlagForTheFirst) {
    Hb_Node_Number node = 0;
    Hb_Cursor cursor = 3;
    EXPECT_EQ(process_node_number_list(&node, &cursor, 1), Hb_Success);
    EXPECT_EQ(node, 1);
    cursor = 3;
    EXPECT_EQ(process_node_number_list(&node, &cursor, 0), Hb_Success);
    EXPECT_EQ(node, 3);
    Hb_Network_Number network = 0;
    cursor = 1;
    EXPECT_EQ(process_network_number_list(&network, &cursor, 0), Hb_Success);
    EXPECT_EQ(network, 1);
    Hb_Site_Number site = 0;
    EXPECT_EQ(process_site_number_list(&site, &cursor, 1), Hb_Failure);
    Hb_Adapter_Number adapter = 0;
    cursor = 2;
    EXPECT_EQ(process_adapter_number_list(&adapter, &cursor, 0), Hb_Success);
    EXPECT_EQ(adapter, 3U);
    cursor = 1;
    EXPECT_EQ(process_adapter_in_network_list(0, &adapter, &cursor, 0), Hb_Success);
    EXPECT_EQ(adapter, 3U);
    cursor = 1;
    EXPECT_EQ(process_adapter_in_node_list(1, &adapter, &cursor, 0), Hb_Success);
    EXPECT_EQ(adapter, 4U);
}

} // namespace
