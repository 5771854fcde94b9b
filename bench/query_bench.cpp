// SPDX-License-Identifier: Apache-2.0
// Queries to the table of the largest cluster, and subscribing to all of it. The library is marked as open, so
// that it sends no request to a daemon.
#include <memory>
#include <stdexcept>
#include <vector>

#include "bench/comparison/clocks.h"
#include "bench/rows.h"
#include "bench/sample_cluster.h"

namespace {

using namespace comparison;

// Steps through all adapter numbers in an order that caches cannot predict.
class Adapter_Walk {
  public:
    Hb_Adapter_Number next() { return at_ = (at_ + 61441) % SAMPLE_ADAPTERS; }

  private:
    Hb_Adapter_Number at_ = 0;
};

void need(Hb_Rc result) {
    if (result != Hb_Success) {
        throw std::runtime_error("a query failed");
    }
}

template <typename Query> double seconds_per_query(Query query) {
    return seconds_per_call([&] { need(query()); });
}

double node_of_adapter() {
    Adapter_Walk walk;
    Hb_Node_Number node = 0;
    return seconds_per_query([&] { return hb_get_node_number_by_adapter_number(walk.next(), &node); });
}

double address_of_adapter() {
    Adapter_Walk walk;
    Hb_IP_address6 address{};
    return seconds_per_query([&] { return hb_get_adapter_address_by_number(walk.next(), &address); });
}

double adapter_of_address() {
    Adapter_Walk walk;
    return seconds_per_query([&] {
        const Hb_Adapter_Number wanted = walk.next();
        Hb_Adapter_Number adapter = 0;
        const Hb_Rc result = hb_get_adapter_number_by_address(sample_address(wanted), &adapter);
        return adapter == wanted ? result : Hb_Failure;
    });
}

double network_of_name() {
    char name[] = "net_47"; // the last one
    Hb_Network_Number network = 0;
    return seconds_per_query([&] { return hb_get_network_number_by_name(name, &network); });
}

// Returns the time of one adapter.
double iterate_all_adapters() {
    return seconds_per_call([] {
               Hb_Adapter_Number adapter = 0;
               Hb_Cursor cursor = 0;
               int count = 0;
               for (Hb_Rc rc = hb_get_first_configured_adapter_number(&adapter, &cursor); rc == Hb_Success;
                    rc = hb_get_next_configured_adapter_number(&adapter, &cursor)) {
                   ++count;
               }
               if (count != SAMPLE_ADAPTERS) {
                   throw std::runtime_error("adapters are missing");
               }
           }) /
           SAMPLE_ADAPTERS;
}

double subscribe_all_at_once(Hb_Subscription_Group &group) {
    return seconds_per_call([&] {
        need(hb_empty_subscription_group(&group));
        need(hb_add_all_adapters_to_subscription_group(&group));
    });
}

double subscribe_one_by_one(Hb_Subscription_Group &group, int adapters) {
    return seconds_per_call([&] {
        need(hb_empty_subscription_group(&group));
        for (int adapter = 0; adapter < adapters; ++adapter) {
            need(hb_add_adapter_to_subscription_group(&group, static_cast<Hb_Adapter_Number>(adapter)));
        }
    });
}

Row look_up_row(const char *work, double (*measured)(), std::optional<double> target) {
    Row row;
    row.work = work;
    row.beside = "node of adapter";
    row.why = "the cheapest look-up of the same table";
    row.ratio = Ratio::cost;
    row.target = target;
    row.is_quick = true;
    row.prepare = [measured] {
        load_sample_cluster();
        return Sides{measured, node_of_adapter};
    };
    return row;
}

} // namespace

std::vector<Row> query_rows() {
    Row subscription;
    subscription.work = "subscribing 98,352 adapters at once";
    subscription.beside = "one by one";
    subscription.why = "the same result by another way";
    subscription.is_quick = true;
    subscription.prepare = [] {
        load_sample_cluster();
        const auto group = std::make_shared<Hb_Subscription_Group>();
        return Sides{[group] { return subscribe_all_at_once(*group); },
                     [group] { return subscribe_one_by_one(*group, SAMPLE_ADAPTERS); }};
    };
    return {look_up_row("address to adapter, 98,352 adapters", adapter_of_address, 10),
            look_up_row("adapter to address, 98,352 adapters", address_of_adapter, {}),
            look_up_row("name to network, 48 networks", network_of_name, {}),
            look_up_row("iterating 98,352 adapters, each", iterate_all_adapters, {}), subscription};
}

std::vector<Growth> query_growth() {
    return {{"subscription", "1,536 adapters", Cost::processor_time, [](int size) {
                 load_sample_cluster();
                 const auto group = std::make_shared<Hb_Subscription_Group>();
                 return [group, size] { return subscribe_one_by_one(*group, 1536 * size); };
             }}};
}
