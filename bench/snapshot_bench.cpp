// SPDX-License-Identifier: Apache-2.0
// Loading the largest configuration, against copying its bytes and against two of the standard library's maps.
#include <cstring>
#include <functional>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/sample_cluster.h"
#include "lib/hb_communication/configuration_load.h"
#include "lib/hb_global_data/node_table.h"

namespace {

struct Address_Hash {
    std::size_t operator()(const Hb_IP_address6 &address) const {
        return std::hash<std::string_view>()({reinterpret_cast<const char *>(&address), sizeof address});
    }
};

struct Address_Equal {
    bool operator()(const Hb_IP_address6 &a, const Hb_IP_address6 &b) const {
        return std::memcmp(&a, &b, sizeof a) == 0;
    }
};

// Checks the record, loads it and builds the node table. Each load also frees the previous one.
void load_snapshot(benchmark::State &state) {
    const std::vector<char> &record = sample_configuration_record();
    for (auto _ : state) {
        const auto view = hb_view_snapshot(record);
        if (!view || !hb_load_snapshot(*view)) {
            state.SkipWithError("the snapshot was not loaded");
            break;
        }
        hb_init_global_node_tbl();
    }
}

void copy_message(benchmark::State &state) {
    const std::vector<char> &record = sample_configuration_record();
    std::vector<char> copy(record.size());
    for (auto _ : state) {
        std::memcpy(copy.data(), record.data(), record.size());
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
}

void build_two_maps(benchmark::State &state) {
    const char *adapters =
        sample_configuration_record().data() + HB_REPLY_HEADER_SIZE + sizeof(Hb_Snapshot_Header);
    for (auto _ : state) {
        const std::unique_ptr<Hb_Adapter_Entry[]> entries(new Hb_Adapter_Entry[SAMPLE_ADAPTERS]);
        std::memcpy(entries.get(), adapters, SAMPLE_ADAPTERS * sizeof(Hb_Adapter_Entry));
        std::unordered_map<Hb_Adapter_Number, Hb_Adapter_Entry *> by_number;
        std::unordered_map<Hb_IP_address6, Hb_Adapter_Entry *, Address_Hash, Address_Equal> by_address;
        by_number.reserve(SAMPLE_ADAPTERS);
        by_address.reserve(SAMPLE_ADAPTERS);
        for (int i = 0; i < SAMPLE_ADAPTERS; ++i) {
            by_number.emplace(entries[i].Hb_adapter_num, &entries[i]);
            by_address.emplace(entries[i].Hb_ip_address, &entries[i]);
        }
        benchmark::DoNotOptimize(by_number);
        benchmark::DoNotOptimize(by_address);
    }
}

BENCHMARK(load_snapshot)->Unit(benchmark::kMillisecond);
BENCHMARK(copy_message)->Unit(benchmark::kMillisecond);
BENCHMARK(build_two_maps)->Unit(benchmark::kMillisecond);

} // namespace
