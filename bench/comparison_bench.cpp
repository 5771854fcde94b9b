// SPDX-License-Identifier: Apache-2.0
// The comparison of configuration tables in cluster-event mode, against a nested scan that finds the same
// differences. Also the making of an event, against clearing its list once.
#include <cstring>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

#include "lib/hb_global_data/table_swap.h"
#include "lib/mox/adapter_index.h"
#include "lib/mox/event_construction.h"
#include "lib/mox/table_comparison.h"

namespace {

// A table of the given number of adapters, 48 on each node, all up.
class Sample_Table {
  public:
    explicit Sample_Table(int adapters) {
        hb_make_table_lists(table_, adapters);
        table_.Hb_adapters_per_node = HB_NETWORK_SLOTS;
        table_.Hb_num_adapters = adapters;
        for (int i = 0; i < adapters; ++i) {
            Hb_Adapter_Entry &entry = table_.Hb_global_adapter_list[i];
            entry = {};
            const std::string name = "eth" + std::to_string(i % HB_NETWORK_SLOTS);
            name.copy(entry.Hb_adapter_type, sizeof entry.Hb_adapter_type - 1);
            std::memcpy(&entry.Hb_ip_address, &i, sizeof i);
            entry.Hb_adapter_num = static_cast<Hb_Adapter_Number>(i);
            entry.Hb_state = Hb_Entity_Up;
        }
    }
    Sample_Table(const Sample_Table &) = delete;
    Sample_Table &operator=(const Sample_Table &) = delete;
    ~Sample_Table() { empty_global_config_table(&table_); }

    const Hb_Configuration_Internal &get() const { return table_; }

  private:
    Hb_Configuration_Internal table_{};
};

// Compares in both directions, as after each event that changes the configuration.
void compare_identical(benchmark::State &state) {
    const Sample_Table one(static_cast<int>(state.range(0)));
    const Sample_Table other(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        MOX_Event *gone = nullptr;
        MOX_Event *come = nullptr;
        MOX_missing_adapters(one.get(), other.get(), HB_EVENT_DEATH, &gone);
        MOX_missing_adapters(other.get(), one.get(), HB_EVENT_JOIN, &come);
        if (gone != nullptr || come != nullptr) {
            state.SkipWithError("identical tables differ");
            break;
        }
    }
}

bool is_same(const Hb_Configuration_Internal &one, const Hb_Adapter_Entry &a,
             const Hb_Configuration_Internal &other, const Hb_Adapter_Entry &b) {
    return MOX_node_of(one, a) == MOX_node_of(other, b) &&
           std::strncmp(a.Hb_adapter_type, b.Hb_adapter_type, HB_ADAPTER_TYPE_SIZE) == 0 &&
           std::memcmp(&a.Hb_ip_address, &b.Hb_ip_address, sizeof a.Hb_ip_address) == 0;
}

int missing_by_scan(const Hb_Configuration_Internal &one, const Hb_Configuration_Internal &other) {
    int missing = 0;
    for (int i = 0; i < one.Hb_num_adapters; ++i) {
        const Hb_Adapter_Entry &a = one.Hb_global_adapter_list[i];
        int j = 0;
        while (j < other.Hb_num_adapters && !is_same(one, a, other, other.Hb_global_adapter_list[j])) {
            ++j;
        }
        missing += j == other.Hb_num_adapters ? 1 : 0;
    }
    return missing;
}

void nested_scan(benchmark::State &state) {
    const Sample_Table one(static_cast<int>(state.range(0)));
    const Sample_Table other(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        if (missing_by_scan(one.get(), other.get()) + missing_by_scan(other.get(), one.get()) != 0) {
            state.SkipWithError("identical tables differ");
            break;
        }
    }
}

void make_adapter_event(benchmark::State &state) {
    for (auto _ : state) {
        MOX_Event *event = nullptr;
        MOX_construct_an_adapter_event(&event, HB_EVENT_DEATH, 97);
        benchmark::DoNotOptimize(event);
        benchmark::ClobberMemory();
        delete event;
    }
}

// Allocates memory of the same size and clears it once.
void clear_event_once(benchmark::State &state) {
    for (auto _ : state) {
        const std::unique_ptr<char[]> bytes(new char[sizeof(MOX_Event)]);
        std::memset(bytes.get(), 0xFF, sizeof(MOX_Event));
        benchmark::DoNotOptimize(bytes.get());
        benchmark::ClobberMemory();
    }
}

BENCHMARK(compare_identical)->Arg(6147)->Arg(24588)->Arg(HB_ADAPTER_SLOTS)->Unit(benchmark::kMillisecond);
BENCHMARK(nested_scan)->Arg(6147)->Unit(benchmark::kMillisecond);
BENCHMARK(make_adapter_event);
BENCHMARK(clear_event_once);

} // namespace
