// SPDX-License-Identifier: Apache-2.0
// The loader alone: the packet after a load, the sizes of the hash tables, duplicate numbers.
#include <cstring>

#include <gtest/gtest.h>

#include "lib/base/error_number.h"
#include "lib/hb_communication/configuration_load.h"
#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/node_table.h"
#include "tests/support/faults.h"
#include "tests/support/isolated.h"
#include "tests/support/records.h"

namespace hb_test {
namespace {

// A packet in memory that no allocator could free.
class Packet {
  public:
    explicit Packet(const Cluster_Facts &cluster) : record_(reply(9, snapshot(cluster))) {
        memory_.zeros(HEAD).add(record_).zeros(HEAD);
    }
    client_packet *get() { return reinterpret_cast<client_packet *>(memory_.data() + HEAD); }
    testing::AssertionResult untouched() const {
        return same_bytes(Bytes().zeros(HEAD).add(record_).zeros(HEAD), memory_);
    }

  private:
    static constexpr std::size_t HEAD = 32;
    Bytes record_;
    Bytes memory_;
};

void load(const Cluster_Facts &cluster) {
    Packet packet(cluster);
    hb_get_adapter_network(packet.get());
}

Cluster_Facts cluster_of(unsigned adapters) {
    Cluster_Facts cluster;
    cluster.max_nodes = 2049;
    cluster.adapters_per_node = 48;
    for (unsigned number = 0; number < adapters; ++number) {
        cluster.adapters.push_back({number, static_cast<int>(number % 48U),
                                    ipv4(10, number >> 16U, (number >> 8U) & 0xFFU, number & 0xFFU), "en", 1});
    }
    return cluster;
}

ISOLATED_TEST(TableLoad, LoadsAPacketAndLeavesItTheCallers) {
    Packet packet(small_cluster());
    hb_get_adapter_network(packet.get());
    EXPECT_TRUE(packet.untouched());
    EXPECT_EQ(1, global_config_tbl.local_node_number);
    EXPECT_EQ(8, global_config_tbl.Hb_max_nodes);
    EXPECT_EQ(2, global_config_tbl.Hb_adapters_per_node);
    EXPECT_EQ(5, global_config_tbl.Hb_num_adapters);
    EXPECT_EQ(3, global_config_tbl.Hb_num_nodes);
    EXPECT_EQ(2, global_config_tbl.Hb_num_networks);
    EXPECT_EQ(8U, hb_get_adap_entry(8)->Hb_adapter_num);
    EXPECT_STREQ("net_b", global_config_tbl.Hb_global_network_list[1].Hb_network_name);
    EXPECT_EQ(0, global_num_nodes) << "the node table is another function's";

    hb_get_adapter_network(packet.get());
    EXPECT_TRUE(packet.untouched());
    EXPECT_EQ(5, Hash_entries(global_config_tbl.adap_hash)) << "the same packet once more";
}

ISOLATED_TEST(TableLoad, ReplacesWhatWasLoadedBefore) {
    load(small_cluster());
    Cluster_Facts other = small_cluster();
    other.adapters.resize(2);
    load(other);
    EXPECT_EQ(2, global_config_tbl.Hb_num_adapters);
    EXPECT_EQ(1, global_config_tbl.Hb_num_nodes);
    EXPECT_EQ(2, Hash_entries(global_config_tbl.adap_hash));
    EXPECT_EQ(&HB_INVALID_ADAP, hb_get_adap_entry(8));
}

ISOLATED_TEST(TableLoad, ShortOfMemoryKeepsThePacketAndTheTable) {
    load(small_cluster());
    Cluster_Facts other = small_cluster();
    other.adapters.resize(2);
    Packet packet(other);
    for (int skip = 0; skip < 5; ++skip) {
        set_hb_errno(0);
        Fault short_memory;
        short_memory.call = Call::allocation;
        short_memory.skip = skip;
        short_memory.times = -1;
        {
            const Fault_Guard fault(short_memory);
            hb_get_adapter_network(packet.get());
        }
        EXPECT_EQ(17, global_hb_errno) << skip;
        EXPECT_TRUE(packet.untouched());
        EXPECT_EQ(5, global_config_tbl.Hb_num_adapters);
        EXPECT_EQ(8U, hb_get_adap_entry(8)->Hb_adapter_num);
    }
}

ISOLATED_TEST(TableLoad, TheAdapterTablesHaveAPrimeNumberOfBucketsTwiceTheAdapters) {
    const struct {
        unsigned adapters;
        int buckets;
    } rows[] = {{0, 257}, {1, 257}, {128, 257}, {129, 263}, {200, 401}, {500, 1009}, {98352, 196709}};
    for (const auto &row : rows) {
        load(cluster_of(row.adapters));
        EXPECT_EQ(static_cast<int>(row.adapters), global_config_tbl.Hb_num_adapters);
        EXPECT_EQ(row.buckets, global_config_tbl.adap_hash->size) << row.adapters;
        EXPECT_EQ(row.buckets, global_config_tbl.ip_hash->size) << row.adapters;
        EXPECT_EQ(4099, global_config_tbl.node_hash->size) << "whatever the adapters are";
    }
}

ISOLATED_TEST(TableLoad, OfOneNumberTwiceTheListKeepsBothAndTheNumberFindsTheLater) {
    Cluster_Facts cluster = small_cluster();
    cluster.adapters = {{4, 0, ipv4(10, 1, 0, 2), "first", 1}, {4, 1, ipv4(10, 9, 9, 9), "later", 2}};
    load(cluster);
    hb_init_global_node_tbl();
    EXPECT_EQ(2, global_config_tbl.Hb_num_adapters);
    EXPECT_STREQ("first", global_config_tbl.Hb_global_adapter_list[0].Hb_adapter_type);
    EXPECT_STREQ("later", global_config_tbl.Hb_global_adapter_list[1].Hb_adapter_type);
    EXPECT_EQ(1, Hash_entries(global_config_tbl.adap_hash));
    EXPECT_EQ(&global_config_tbl.Hb_global_adapter_list[1], hb_get_adap_entry(4));
    EXPECT_EQ(2, Hash_entries(global_config_tbl.ip_hash)) << "each address finds its own";
    EXPECT_EQ(1, global_config_tbl.Hb_num_nodes);
    EXPECT_EQ(1, Hash_entries(global_config_tbl.node_hash));
    EXPECT_EQ(2, global_config_tbl.node_list[0].node_num);
    EXPECT_EQ(1, global_num_nodes);
    EXPECT_EQ(1, global_node_tbl[2]);
}

} // namespace
} // namespace hb_test
