// SPDX-License-Identifier: Apache-2.0
// Empties a configuration table, makes the working table live, and prints a table.
#include <cerrno>
#include <cstring>

#include <gtest/gtest.h>

#include "lib/base/error_number.h"
#include "lib/hb_global_data/table_dump.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/hb_global_data/working_table.h"
#include "tests/support/faults.h"
#include "tests/support/isolated.h"
#include "tests/unit/tables/trace_spy.h"
#include "utils/hash.h"

namespace hb_test {
namespace {

constexpr unsigned INFO = 1;

// Two nodes and three adapters.
void fill(Hb_Configuration_Internal &table) {
    ASSERT_TRUE(hb_make_table_lists(table, 3));
    table.local_node_number = 2;
    table.Hb_max_nodes = 2049;
    table.Hb_adapters_per_node = 48;
    table.Hb_num_networks = 48;
    table.Hb_num_nodes = 2;
    table.node_list[0] = {2, Hb_Entity_Up, Hb_Entity_State_Reason_KOBAL_Up};
    table.node_list[1] = {5, Hb_Entity_Down, Hb_Entity_State_Reason_KOBAL_Down};
    table.Hb_num_adapters = 3;
    for (int i = 0; i < 3; ++i) {
        Hb_Adapter_Entry &entry = table.Hb_global_adapter_list[i];
        const unsigned char bytes[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 10, 1, 2, 3};
        std::memcpy(&entry.Hb_ip_address, bytes, sizeof bytes);
        reinterpret_cast<unsigned char *>(&entry.Hb_ip_address)[15] = static_cast<unsigned char>(i + 1);
        entry.Hb_network = static_cast<Hb_Network_Number>(i);
        std::strcpy(entry.Hb_adapter_type, i == 0 ? "eth0" : "eth1");
        entry.Hb_adapter_num = static_cast<Hb_Adapter_Number>(96 + i);
        entry.Hb_state = i == 2 ? Hb_Entity_Down : Hb_Entity_Up;
        hb_index_adapter(table, i);
    }
    hb_index_node(table, 0);
    hb_index_node(table, 1);
    for (int i = 0; i < HB_NETWORK_SLOTS; ++i) {
        table.Hb_global_network_list[i].Hb_network_name[0] = static_cast<char>('A' + i % 26);
        table.Hb_global_network_list[i].Hb_network_type[0] = static_cast<char>('a' + i % 26);
    }
}

void set_sites(Hb_Configuration_Internal &table, int max) {
    table.Hb_max_sites = max;
    table.Hb_num_sites = max - 1;
    table.site_list = new Hb_Site_Entry[2]();
    table.site_hash = Hash_init("Hb_Site list", 257);
}

void drop_sites(Hb_Configuration_Internal &table) {
    delete[] table.site_list;
    table.site_list = nullptr;
}

ISOLATED_TEST(Emptying, FreesListsAndHashesAndZeroesTheNumbersButLeavesNetworksAndSites) {
    Hb_Configuration_Internal table = {};
    fill(table);
    set_sites(table, 2);
    empty_global_config_table(&table);
    EXPECT_EQ(nullptr, table.Hb_global_adapter_list);
    EXPECT_EQ(nullptr, table.adap_hash);
    EXPECT_EQ(nullptr, table.ip_hash);
    EXPECT_EQ(nullptr, table.node_hash);
    EXPECT_EQ(nullptr, table.site_hash);
    EXPECT_EQ(nullptr, table.node_list);
    EXPECT_EQ(0, table.local_node_number);
    EXPECT_EQ(0, table.Hb_max_nodes);
    EXPECT_EQ(0, table.Hb_num_nodes);
    EXPECT_EQ(0, table.Hb_adapters_per_node);
    EXPECT_EQ(0, table.Hb_num_adapters);
    EXPECT_EQ(0, table.Hb_num_networks);
    EXPECT_EQ(2, table.Hb_max_sites);
    EXPECT_EQ(1, table.Hb_num_sites);
    EXPECT_NE(nullptr, table.site_list);
    EXPECT_EQ('B', table.Hb_global_network_list[1].Hb_network_name[0]);
    drop_sites(table);
    empty_global_config_table(&table);
    empty_global_config_table(nullptr);
}

ISOLATED_TEST(Swap, MakesADeepCopyLiveAndEmptiesTheWorkingTable) {
    fill(global_config_tbl_new);
    const Hb_Node_Entry *working_nodes = global_config_tbl_new.node_list;
    const Trace_Spy spy(1, 1, 1);
    MOX_copy_and_delete_global_config_tbl();
    Hb_Configuration_Internal &live = global_config_tbl;
    EXPECT_EQ(2, live.local_node_number);
    EXPECT_EQ(2049, live.Hb_max_nodes);
    EXPECT_EQ(48, live.Hb_adapters_per_node);
    EXPECT_EQ(48, live.Hb_num_networks);
    ASSERT_EQ(2, live.Hb_num_nodes);
    EXPECT_NE(working_nodes, live.node_list);
    EXPECT_EQ(5, live.node_list[1].node_num);
    EXPECT_EQ(Hb_Entity_Down, live.node_list[1].state);
    EXPECT_EQ(Hb_Entity_State_Reason_KOBAL_Down, live.node_list[1].reason);
    EXPECT_EQ(&live.node_list[0], Hash_search(2, live.node_hash));
    EXPECT_EQ(&live.node_list[1], Hash_search(5, live.node_hash));
    ASSERT_EQ(3, live.Hb_num_adapters);
    EXPECT_EQ(98U, live.Hb_global_adapter_list[2].Hb_adapter_num);
    EXPECT_STREQ("eth1", live.Hb_global_adapter_list[2].Hb_adapter_type);
    EXPECT_EQ(2, live.Hb_global_adapter_list[2].Hb_network);
    EXPECT_EQ(Hb_Entity_Down, live.Hb_global_adapter_list[2].Hb_state);
    EXPECT_EQ(&live.Hb_global_adapter_list[2], Hash_search(98, live.adap_hash));
    EXPECT_EQ(
        &live.Hb_global_adapter_list[1],
        Hash_search_IPv6(reinterpret_cast<const H_IPv6_key_t *>(&live.Hb_global_adapter_list[1].Hb_ip_address),
                         live.ip_hash));
    EXPECT_EQ('V', live.Hb_global_network_list[47].Hb_network_name[0]); // regardless of the count
    EXPECT_EQ('v', live.Hb_global_network_list[47].Hb_network_type[0]);
    EXPECT_STREQ("MOX_node list", live.node_hash->name);
    EXPECT_EQ(4099, live.node_hash->size);
    EXPECT_STREQ("Hb_Adapter list", live.adap_hash->name);
    EXPECT_STREQ("Hb_IP list", live.ip_hash->name);
    EXPECT_EQ(nullptr, global_config_tbl_new.node_list);
    ASSERT_EQ(1U, spy.records().size());
    EXPECT_EQ(INFO, spy.records()[0].category);
    EXPECT_EQ(std::vector<uint32_t>{2}, spy.records()[0].values);
    empty_global_config_table(&global_config_tbl);
}

ISOLATED_TEST(Swap, OfCountsWithoutListsMakesATableWithoutNodesAndAdapters) {
    global_config_tbl_new.Hb_max_nodes = 8;
    global_config_tbl_new.Hb_adapters_per_node = 2;
    global_config_tbl_new.Hb_num_nodes = 3;
    global_config_tbl_new.Hb_num_adapters = 1000;
    MOX_copy_and_delete_global_config_tbl();
    EXPECT_EQ(8, global_config_tbl.Hb_max_nodes);
    EXPECT_EQ(0, global_config_tbl.Hb_num_nodes);
    EXPECT_EQ(0, global_config_tbl.Hb_num_adapters);
    EXPECT_EQ(0, Hash_entries(global_config_tbl.node_hash));
    EXPECT_EQ(0, Hash_entries(global_config_tbl.adap_hash));
    EXPECT_EQ(0, global_config_tbl_new.Hb_max_nodes);
    empty_global_config_table(&global_config_tbl);
}

ISOLATED_TEST(Index, OfAListThatIsAbsentFails) {
    Hb_Configuration_Internal table = {};
    EXPECT_FALSE(hb_index_node(table, 0));
    EXPECT_FALSE(hb_index_adapter(table, 0));
    Hb_Node_Entry node = {3, Hb_Entity_Up, Hb_Entity_State_Reason_Up};
    Hb_Adapter_Entry adapter = {};
    table.node_list = &node;
    table.Hb_global_adapter_list = &adapter;
    EXPECT_FALSE(hb_index_node(table, 0)) << "without a hash table";
    EXPECT_FALSE(hb_index_adapter(table, 0));
    EXPECT_EQ(nullptr, hb_find_node(table, 3));
}

ISOLATED_TEST(Swap, SizesTheAdaptersHashesByTheirCount) {
    ASSERT_TRUE(hb_make_table_lists(global_config_tbl_new, 1000));
    global_config_tbl_new.Hb_num_adapters = 1000;
    for (int i = 0; i < 1000; ++i) {
        global_config_tbl_new.Hb_global_adapter_list[i].Hb_adapter_num = static_cast<Hb_Adapter_Number>(i);
    }
    MOX_copy_and_delete_global_config_tbl();
    EXPECT_EQ(2003, global_config_tbl.adap_hash->size); // the first prime from 2000
    EXPECT_EQ(2003, global_config_tbl.ip_hash->size);
    empty_global_config_table(&global_config_tbl);
}

ISOLATED_TEST(Swap, CarriesNoSitesOver) {
    fill(global_config_tbl);
    set_sites(global_config_tbl, 2);
    fill(global_config_tbl_new);
    const Hb_Site_Entry *sites = global_config_tbl.site_list;
    global_config_tbl_new.Hb_max_sites = 9;
    global_config_tbl_new.Hb_num_sites = 8;
    MOX_copy_and_delete_global_config_tbl();
    EXPECT_EQ(nullptr, global_config_tbl.site_hash);
    EXPECT_EQ(2, global_config_tbl.Hb_max_sites);
    EXPECT_EQ(1, global_config_tbl.Hb_num_sites);
    EXPECT_EQ(sites, global_config_tbl.site_list);
    drop_sites(global_config_tbl);
    empty_global_config_table(&global_config_tbl);
}

ISOLATED_TEST(Swap, OfAPristineTableIsLiteralHereAndPassedOverByTheMarker) {
    fill(global_config_tbl);
    MOX_install_working_table();
    EXPECT_EQ(2, global_config_tbl.Hb_num_nodes) << "there is none";
    MOX_copy_and_delete_global_config_tbl();
    EXPECT_EQ(0, global_config_tbl.Hb_num_nodes);
    EXPECT_EQ(0, global_config_tbl.Hb_adapters_per_node);
    empty_global_config_table(&global_config_tbl);
}

ISOLATED_TEST(Swap, ThatRunsOutOfMemoryAnywhereIsError17AndBothTablesStay) {
    fill(global_config_tbl);
    fill(global_config_tbl_new);
    global_config_tbl_new.node_list[0].state = Hb_Entity_Down;
    int allocations = 0;
    for (;; ++allocations) {
        set_hb_errno(0);
        {
            const Fault_Guard guard = failing(Call::allocation, ENOMEM, allocations);
            MOX_copy_and_delete_global_config_tbl();
        }
        if (hb_get_errno() == 0) {
            break;
        }
        ASSERT_EQ(17, hb_get_errno());
        ASSERT_EQ(2, global_config_tbl.Hb_num_nodes);
        EXPECT_EQ(Hb_Entity_Up, global_config_tbl.node_list[0].state);
        EXPECT_EQ(2, global_config_tbl_new.Hb_num_nodes);
        EXPECT_NE(nullptr, hb_find_node(global_config_tbl, 5));
    }
    // Two lists and three hashes with their contents, and one entry for each node and two for each adapter.
    EXPECT_LE(2 + 3 + 2 + 2 * 3, allocations);
    EXPECT_EQ(Hb_Entity_Down, global_config_tbl.node_list[0].state);
    empty_global_config_table(&global_config_tbl);
}

// ---- Showing a table ----

ISOLATED_TEST(Dump, HasTheLabelTheCountsTheNodesAndTheAdapters) {
    Hb_Configuration_Internal table = {};
    fill(table);
    table.Hb_num_networks = 7;
    const Trace_Spy spy(1, 1, 1);
    char label[] = "Event pipe handler: after copy";
    hb_mox_dump_global_table(&table, label);
    const std::vector<Trace_Record> &records = spy.records();
    ASSERT_EQ(7U, records.size());
    EXPECT_EQ(std::vector<std::string>{"Event pipe handler: after copy"}, records[0].data);
    EXPECT_EQ((std::vector<uint32_t>{2, 2049, 2, 3, 48, 7}), records[1].values);
    EXPECT_EQ((std::vector<uint32_t>{2, 1}), records[2].values);
    EXPECT_EQ((std::vector<uint32_t>{5, 2}), records[3].values);
    const std::string up("\1\0\0\0", 4);
    EXPECT_EQ((std::vector<std::string>{std::string("eth0", 5), std::string("10.1.2.1", 9),
                                        std::string("\x60\0\0\0", 4), up}),
              records[4].data);
    EXPECT_EQ((std::vector<std::string>{std::string("eth1", 5), std::string("10.1.2.3", 9),
                                        std::string("\x62\0\0\0", 4), std::string("\2\0\0\0", 4)}),
              records[6].data);
    for (const Trace_Record &record : records) {
        EXPECT_EQ(INFO, record.category);
    }
    empty_global_config_table(&table);
}

ISOLATED_TEST(Dump, OfNothingIsNothing) {
    Hb_Configuration_Internal table = {};
    const Trace_Spy spy(1, 0, 1);
    char label[] = "label";
    hb_mox_dump_global_table(&table, label);
    EXPECT_TRUE(spy.records().empty());
}

} // namespace
} // namespace hb_test
