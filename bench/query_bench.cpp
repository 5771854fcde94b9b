// SPDX-License-Identifier: Apache-2.0
// Queries to the table of the largest cluster, and subscribing to all of it. The library is marked as open, so
// that no daemon is asked.
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/sample_cluster.h"

namespace {

// Steps through all adapter numbers in an order that caches cannot predict.
class Adapter_Walk {
  public:
    Hb_Adapter_Number next() { return at_ = (at_ + 61441) % SAMPLE_ADAPTERS; }

  private:
    Hb_Adapter_Number at_ = 0;
};

void node_of_adapter(benchmark::State &state) {
    load_sample_cluster();
    Adapter_Walk walk;
    Hb_Node_Number node = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(hb_get_node_number_by_adapter_number(walk.next(), &node));
    }
}

void address_of_adapter(benchmark::State &state) {
    load_sample_cluster();
    Adapter_Walk walk;
    Hb_IP_address6 address;
    for (auto _ : state) {
        benchmark::DoNotOptimize(hb_get_adapter_address_by_number(walk.next(), &address));
    }
}

void adapter_of_address(benchmark::State &state) {
    load_sample_cluster();
    Adapter_Walk walk;
    Hb_Adapter_Number adapter = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(hb_get_adapter_number_by_address(sample_address(walk.next()), &adapter));
    }
}

void network_of_name(benchmark::State &state) {
    load_sample_cluster();
    char name[] = "net_47"; // the last one
    Hb_Network_Number network = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(hb_get_network_number_by_name(name, &network));
    }
}

void iterate_all_adapters(benchmark::State &state) {
    load_sample_cluster();
    for (auto _ : state) {
        Hb_Adapter_Number adapter = 0;
        Hb_Cursor cursor = 0;
        int count = 0;
        for (Hb_Rc rc = hb_get_first_configured_adapter_number(&adapter, &cursor); rc == Hb_Success;
             rc = hb_get_next_configured_adapter_number(&adapter, &cursor)) {
            ++count;
        }
        if (count != SAMPLE_ADAPTERS) {
            state.SkipWithError("adapters are missing");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * SAMPLE_ADAPTERS);
}

void subscribe_all_at_once(benchmark::State &state) {
    load_sample_cluster();
    const auto group = std::make_unique<Hb_Subscription_Group>();
    for (auto _ : state) {
        hb_empty_subscription_group(group.get());
        benchmark::DoNotOptimize(hb_add_all_adapters_to_subscription_group(group.get()));
    }
    state.SetItemsProcessed(state.iterations() * SAMPLE_ADAPTERS);
}

void subscribe_one_by_one(benchmark::State &state) {
    load_sample_cluster();
    const auto group = std::make_unique<Hb_Subscription_Group>();
    for (auto _ : state) {
        hb_empty_subscription_group(group.get());
        for (Hb_Adapter_Number adapter = 0; adapter < SAMPLE_ADAPTERS; ++adapter) {
            benchmark::DoNotOptimize(hb_add_adapter_to_subscription_group(group.get(), adapter));
        }
    }
    state.SetItemsProcessed(state.iterations() * SAMPLE_ADAPTERS);
}

BENCHMARK(node_of_adapter);
BENCHMARK(address_of_adapter);
BENCHMARK(adapter_of_address);
BENCHMARK(network_of_name);
BENCHMARK(iterate_all_adapters)->Unit(benchmark::kMillisecond);
BENCHMARK(subscribe_all_at_once)->Unit(benchmark::kMillisecond);
BENCHMARK(subscribe_one_by_one)->Unit(benchmark::kMillisecond);

} // namespace
