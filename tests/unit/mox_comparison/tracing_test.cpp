// SPDX-License-Identifier: Apache-2.0
// The trace records of the comparison, and their order.
#include <gtest/gtest.h>

#include "lib/mox/table_comparison.h"
#include "tests/unit/mox_comparison/tables.h"
#include "tests/unit/tables/trace_spy.h"

namespace hb_test {
namespace {

constexpr unsigned ERRORS = 0;
constexpr unsigned INFO = 1;

// Node 1 with eth0, node 2 with eth0.
Plain_Table two_nodes() {
    Plain_Table table;
    table.nodes = {{1, Hb_Entity_Up}, {2, Hb_Entity_Up}};
    table.adapters = {{48, "eth0", address(1), 0, Hb_Entity_Up}, {96, "eth0", address(2), 0, Hb_Entity_Up}};
    return table;
}

Trace_Record record(uint32_t id, unsigned category, const std::vector<uint32_t> &values = {}) {
    return {"_HBC", id, category, values, {}};
}

TEST(ComparisonTraces, EachStepIsRecordedBeforeItRuns) {
    Any_Handler handler;
    Plain_Table before = two_nodes();
    before.adapters.pop_back();
    Plain_Table after = two_nodes();
    after.adapters.erase(after.adapters.begin());
    const Live_Table live(before);
    Table next(after);
    Slot adapters_gone, nodes_gone, config_changed, adapters_new, nodes_new;
    const Trace_Spy spy(1, 0, 0);
    handler.compare_global_config_tables(next.get(), adapters_gone.out(), nodes_gone.out(),
                                         config_changed.out(), adapters_new.out(), nodes_new.out());
    EXPECT_EQ((std::vector<Trace_Record>{record(66, ERRORS), record(82, ERRORS, {1, 48}), record(67, ERRORS),
                                         record(68, ERRORS), record(82, ERRORS, {2, 96}), record(69, ERRORS)}),
              spy.records());
}

TEST(ComparisonTraces, EachAdapterThatIsAddedIsRecordedAsInformation) {
    Any_Handler handler;
    Slot slot;
    const Trace_Spy spy(0, 1, 0);
    handler.construct_an_adapter_event(slot.out(), 1, 96);
    handler.construct_an_adapter_event(slot.out(), 1, 97);
    EXPECT_EQ((std::vector<Trace_Record>{record(83, INFO, {1, 96}), record(83, INFO, {1, 97})}), spy.records());
}

TEST(ComparisonTraces, AMissingSlotIsAnError) {
    Any_Handler handler;
    Table table(two_nodes());
    const Trace_Spy spy(1, 0, 0);
    handler.generate_event_for_missing_tbl2_adapters(table.get(), table.get(), 1, nullptr);
    EXPECT_EQ(std::vector<Trace_Record>{record(91, ERRORS)}, spy.records());
}

TEST(ComparisonTraces, ANodeThatIsUnknownIsAnErrorWithItsNumber) {
    Table table(two_nodes());
    Plain_Table less = two_nodes();
    less.nodes.pop_back();
    Table other(less);
    const Trace_Spy spy(1, 0, 0);
    EXPECT_EQ(Hb_Failure, MOX_find_tbl1_node_in_tbl2(table.get(), other.get()));
    EXPECT_EQ(std::vector<Trace_Record>{record(96, ERRORS, {2})}, spy.records());
}

TEST(ComparisonTraces, WhatMakesTheConfigurationAnotherOneIsInformation) {
    Any_Handler handler;
    Table table(two_nodes());
    Plain_Table less = two_nodes();
    less.local_node = 2;
    less.nodes.pop_back();
    less.adapters.pop_back();
    less.networks = 3;
    Table other(less);
    Slot slot;
    const Trace_Spy spy(0, 1, 0);
    handler.generate_event_for_config_change(table.get(), other.get(), slot.out());
    EXPECT_EQ((std::vector<Trace_Record>{record(92, INFO, {1, 2}), record(93, INFO),
                                         record(94, INFO, {2, 1, 2, 1, 48, 3})}),
              spy.records());
}

TEST(ComparisonTraces, AdaptersThatGoDownWithTheirNodeAreErrorsAndTheirCountIsInformation) {
    Any_Handler handler;
    const Live_Table live(two_nodes());
    Slot slot;
    const Trace_Spy spy(1, 1, 0);
    handler.constructAdapterEventOnNode(2, slot.out(), 1);
    EXPECT_EQ((std::vector<Trace_Record>{record(88, ERRORS, {2, 96}), record(82, ERRORS, {1, 96}),
                                         record(83, INFO, {1, 96}), record(70, INFO, {1, 1})}),
              spy.records());
}

TEST(ComparisonTraces, WithoutAServiceTheFailureIsRecordedWithItsNumber) {
    Any_Handler handler;
    const Live_Table live(two_nodes());
    Slot slot;
    const Trace_Spy spy(1, 1, 0);
    errno = ERANGE;
    handler.constructAdapterEventOnNode(2, slot.out(), 2);
    EXPECT_EQ((std::vector<Trace_Record>{record(89, INFO),
                                         record(90, INFO, {0xFFFFFFFF, static_cast<uint32_t>(ERANGE), 65})}),
              spy.records());
    EXPECT_EQ(ERANGE, errno);
}

} // namespace
} // namespace hb_test
