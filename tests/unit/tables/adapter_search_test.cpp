// SPDX-License-Identifier: Apache-2.0
// The fast searches of the configuration table, compared with plain ones on random tables.
#include <cstring>

#include <gtest/gtest.h>

#include "lib/hb_global_data/adapter_address.h"
#include "lib/hb_global_data/adapter_run.h"
#include "lib/hb_global_data/node_table.h"
#include "lib/hb_global_data/table_swap.h"
#include "random_table.h"

namespace {

const Hb_Adapter_Entry *first_in_list(const Hb_IP_address6 &address) {
    const Hb_Adapter_Entry *list = global_config_tbl.Hb_global_adapter_list;
    for (int i = 0; list != nullptr && i < global_config_tbl.Hb_num_adapters; ++i) {
        if (std::memcmp(&list[i].Hb_ip_address, &address, sizeof address) == 0) {
            return &list[i];
        }
    }
    return nullptr;
}

TEST(AdapterAddress, IsThatOfTheFirstAdapterInTheList) {
    Random random(20261122);
    int found = 0;
    int shared = 0;
    for (int round = 0; round < 3000; ++round) {
        const Random_Table table(random);
        for (uint32_t number = 0; number < 70; ++number) {
            const Hb_IP_address6 address = numbered_address(number);
            const Hb_Adapter_Entry *expected = first_in_list(address);
            ASSERT_EQ(expected, hb_find_adapter_by_address(global_config_tbl, address))
                << table.kind() << ", address " << number << ", round " << round;
            found += expected != nullptr ? 1 : 0;
            const auto *indexed = static_cast<const Hb_Adapter_Entry *>(
                Hash_search_IPv6(reinterpret_cast<const H_IPv6_key_t *>(&address), global_config_tbl.ip_hash));
            shared += indexed != nullptr && indexed != expected ? 1 : 0;
        }
    }
    EXPECT_GT(found, 10000);
    EXPECT_GT(shared, 1000) << "tables whose index holds a later adapter";
}

TEST(AdapterNumber, IsThatOfTheEntry) {
    Random random(2);
    int consecutive = 0;
    int other = 0;
    for (int round = 0; round < 2000; ++round) {
        const Random_Table table(random);
        for (const Hb_Adapter_Entry &entry : hb_adapters_of(global_config_tbl)) {
            ASSERT_EQ(entry.Hb_adapter_num, hb_number_of(global_config_tbl, entry)) << table.kind();
            ++(global_config_tbl.is_consecutive ? consecutive : other);
        }
    }
    EXPECT_GT(consecutive, 1000);
    EXPECT_GT(other, 1000);
}

TEST(AdapterNumber, IsNotPredictedAfterTheListWasReleased) {
    Hb_Configuration_Internal &table = global_config_tbl;
    table.Hb_max_nodes = 4;
    table.Hb_adapters_per_node = 2;
    table.Hb_num_adapters = 2;
    table.Hb_global_adapter_list = new Hb_Adapter_Entry[2]();
    table.Hb_global_adapter_list[0].Hb_adapter_num = 3;
    table.Hb_global_adapter_list[1].Hb_adapter_num = 4;
    EXPECT_FALSE(table.is_consecutive) << "not known yet";
    hb_init_global_node_tbl();
    EXPECT_TRUE(table.is_consecutive);
    EXPECT_EQ(4U, hb_number_of(table, table.Hb_global_adapter_list[1]));
    hb_release_table_lists(table);
    EXPECT_FALSE(table.is_consecutive);
    hb_empty_live_table();
}

TEST(AdapterAddress, IsInNoTableThatWasNeverLoaded) {
    const Hb_Configuration_Internal table{};
    EXPECT_EQ(nullptr, hb_find_adapter_by_address(table, numbered_address(1)));
}

// Members of events: adapters of some nodes, one adapter of each node, or any. Some are not in the table.
std::vector<uint32_t> random_members(Random &random) {
    std::vector<uint32_t> members(below(random, 40));
    const uint32_t first = below(random, 60);
    const uint32_t step = below(random, 5);
    for (uint32_t i = 0; i < members.size(); ++i) {
        members[i] = first + step * i;
    }
    for (uint32_t i = below(random, 8); i > 0 && !members.empty(); --i) {
        members[below(random, static_cast<uint32_t>(members.size()))] =
            below(random, 9) == 0 ? 0xFFFFFFFFU - below(random, 3) : below(random, 130);
    }
    return members;
}

TEST(AdapterRun, FindsWhatTheIndexFinds) {
    Random random(7);
    int found = 0;
    int missing = 0;
    for (int round = 0; round < 20000; ++round) {
        const Random_Table table(random);
        Hb_Adapter_Run run(global_config_tbl);
        for (const uint32_t number : random_members(random)) {
            const void *expected = Hash_search(number, global_config_tbl.adap_hash);
            ASSERT_EQ(expected, run.find(number))
                << table.kind() << ", adapter " << number << ", round " << round;
            ++(expected != nullptr ? found : missing);
        }
    }
    EXPECT_GT(found, 10000);
    EXPECT_GT(missing, 10000);
}

TEST(AdapterRun, OfTwoAdaptersWithOneNumberTheIndexDecides) {
    Hb_Adapter_Entry list[3] = {};
    list[0].Hb_adapter_num = 0;
    list[1].Hb_adapter_num = 1;
    list[2].Hb_adapter_num = 1;
    Hb_Configuration_Internal table{};
    table.Hb_global_adapter_list = list;
    table.Hb_num_adapters = 3;
    table.adap_hash = Hash_init("Hb_Adapter list", 257);
    for (Hb_Adapter_Entry &entry : list) {
        Hash_insert(entry.Hb_adapter_num, table.adap_hash, &entry);
    }
    Hb_Adapter_Run run(table);
    EXPECT_EQ(&list[0], run.find(0));
    EXPECT_EQ(&list[2], run.find(1));
    Hash_free(table.adap_hash);
}

} // namespace
