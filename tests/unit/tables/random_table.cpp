// SPDX-License-Identifier: Apache-2.0
#include "random_table.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "lib/hb_communication/configuration_load.h"
#include "lib/hb_global_data/node_table.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/wire/snapshot_view.h"

uint32_t below(Random &random, uint32_t bound) {
    return std::uniform_int_distribution<uint32_t>(0, bound - 1)(random);
}

Hb_IP_address6 numbered_address(uint32_t number) {
    Hb_IP_address6 address{};
    address.v4_in_v6.filler[2] = number % 3;
    address.v4_in_v6.v4_in_v6_ipv4 = number / 3;
    return address;
}

namespace {

constexpr uint32_t STRIDE = 4; // adapter numbers of a node

Hb_Adapter_Entry adapter(uint32_t number, uint32_t address) {
    Hb_Adapter_Entry entry{};
    entry.Hb_ip_address = numbered_address(address);
    std::strcpy(entry.Hb_adapter_type, "en0");
    entry.Hb_adapter_num = number;
    entry.Hb_state = Hb_Entity_Up;
    return entry;
}

std::vector<uint32_t> random_numbers(Random &random, std::string &kind) {
    const uint32_t count = below(random, 60);
    std::vector<uint32_t> numbers(count);
    switch (below(random, 4)) {
    case 0: {
        kind += "consecutive numbers";
        const uint32_t first = below(random, 9);
        for (uint32_t i = 0; i < count; ++i) {
            numbers[i] = first + i;
        }
        break;
    }
    case 1:
        kind += "two adapters a node";
        for (uint32_t i = 0; i < count; ++i) {
            numbers[i] = i / 2 * STRIDE + i % 2;
        }
        break;
    case 2:
        kind += "shuffled numbers";
        for (uint32_t i = 0; i < count; ++i) {
            numbers[i] = 2 * i;
        }
        std::shuffle(numbers.begin(), numbers.end(), random);
        break;
    default:
        kind += "any numbers";
        std::ranges::generate(numbers, [&random] { return below(random, 120); });
    }
    return numbers;
}

std::vector<Hb_Adapter_Entry> random_adapters(Random &random, std::string &kind) {
    std::vector<Hb_Adapter_Entry> adapters;
    const bool shared = below(random, 2) == 0;
    for (const uint32_t number : random_numbers(random, kind)) {
        const auto place = static_cast<uint32_t>(adapters.size());
        adapters.push_back(adapter(number, shared ? below(random, 40) : place));
    }
    kind += shared ? ", shared addresses" : ", own addresses";
    return adapters;
}

constexpr int NODES = 30;

void load_from_daemon(const std::vector<Hb_Adapter_Entry> &adapters) {
    Hb_Snapshot_View view{};
    view.header = {1, 0, NODES, static_cast<int32_t>(STRIDE), static_cast<int32_t>(adapters.size()), 0};
    view.adapters = reinterpret_cast<const char *>(adapters.data());
    view.networks = ""; // there are none
    ASSERT_TRUE(hb_load_snapshot(view));
    hb_init_global_node_tbl();
}

void index_as_the_service_does(const std::vector<Hb_Adapter_Entry> &adapters) {
    Hb_Configuration_Internal &table = global_config_tbl;
    const auto count = static_cast<int>(adapters.size());
    ASSERT_TRUE(hb_make_table_lists(table, count));
    table.Hb_max_nodes = NODES;
    table.Hb_adapters_per_node = static_cast<int>(STRIDE);
    table.Hb_num_adapters = count;
    for (int i = 0; i < count; ++i) {
        table.Hb_global_adapter_list[i] = adapters[static_cast<std::size_t>(i)];
        ASSERT_TRUE(hb_index_adapter(table, i));
    }
}

void make_incomplete(Random &random, std::string &kind) {
    Hb_Configuration_Internal &table = global_config_tbl;
    const bool whole = table.has_first_addresses;
    table.has_first_addresses = false; // what follows can make it untrue
    switch (below(random, 10)) {
    case 0:
        kind += ", no index of addresses";
        Hash_free(std::exchange(table.ip_hash, nullptr));
        break;
    case 1:
        kind += ", empty index of addresses";
        Hash_clean(table.ip_hash);
        break;
    case 2:
        kind += ", no index of numbers";
        Hash_free(std::exchange(table.adap_hash, nullptr));
        break;
    case 3:
        kind += ", some adapters in no index";
        for (int i = 0; i < table.Hb_num_adapters; i += 3) {
            const Hb_IP_address6 &address = table.Hb_global_adapter_list[i].Hb_ip_address;
            Hash_delete_IPv6(reinterpret_cast<const H_IPv6_key_t *>(&address), table.ip_hash);
            Hash_delete(table.Hb_global_adapter_list[i].Hb_adapter_num, table.adap_hash);
        }
        break;
    case 4:
        kind += ", no list";
        Hash_clean(table.adap_hash);
        Hash_clean(table.ip_hash);
        delete[] std::exchange(table.Hb_global_adapter_list, nullptr);
        break;
    default:
        table.has_first_addresses = whole;
        break;
    }
}

} // namespace

Random_Table::Random_Table(Random &random) {
    empty_global_config_table(&global_config_tbl);
    const bool from_daemon = below(random, 2) == 0;
    kind_ = from_daemon ? "daemon: " : "service: ";
    const std::vector<Hb_Adapter_Entry> adapters = random_adapters(random, kind_);
    if (from_daemon) {
        load_from_daemon(adapters);
    } else {
        index_as_the_service_does(adapters);
    }
    make_incomplete(random, kind_);
}

Random_Table::~Random_Table() {
    empty_global_config_table(&global_config_tbl);
}
