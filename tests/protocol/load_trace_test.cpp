// SPDX-License-Identifier: Apache-2.0
// The order in which a load is traced.
#include <gtest/gtest.h>

#include "lib/base/MOX_HBC_trace.h"
#include "lib/hb_communication/configuration_load.h"
#include "tests/protocol/trace_double.h"
#include "tests/support/isolated.h"
#include "tests/support/records.h"

namespace hb_test {
namespace {

// The record's id and the adapter in it.
std::pair<uint32_t, int32_t> told(const Trace_Record &record) {
    return {record.id,
            record.id == 118 ? static_cast<int32_t>(record.values.at(0)) : record.data.at(2).i32_at(0)};
}

ISOLATED_TEST(LoadTrace, IsToldAdapterByAdapter) {
    Cluster_Facts cluster;
    cluster.adapters = {{2, 0, ipv4(10, 1, 0, 1), "a", 1},
                        {3, 1, ipv4(10, 1, 0, 1), "b", 1}, // the address of 2
                        {4, 0, ipv4(10, 1, 0, 2), "c", 1}};
    Bytes record = reply(0, snapshot(cluster));
    hbc_initialize_trace_once();
    hbc_trace_detail_levels[1] = 1;
    hb_get_adapter_network(reinterpret_cast<client_packet *>(record.data()));
    std::vector<std::pair<uint32_t, int32_t>> order;
    for (const Trace_Record &written : trace_double().records) {
        order.push_back(told(written));
    }
    const std::vector<std::pair<uint32_t, int32_t>> expected = {{118, 2}, {118, 3}, {119, 3}, {118, 4}};
    EXPECT_EQ(expected, order);
}

} // namespace
} // namespace hb_test
