// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bench/comparison/report.h"

namespace comparison {
namespace {

using testing::HasSubstr;
using testing::Not;

Row event_row() {
    Row row;
    row.work = "events";
    row.beside = "a bare loop";
    row.why = "it reads the same bytes";
    row.target = 0.95;
    return row;
}

Figure figure_of(double ratio, double spread) {
    return {ratio, spread, spread < 0.05, 12, 2e-6, 1.9e-6, ""};
}

TEST(Report, ALineHasTheRatioItsSpreadBothMediansAndTheVerdict) {
    EXPECT_EQ(line_of(event_row(), figure_of(0.96, 0.012)),
              "events, rate of a bare loop: at least 0.95\n"
              "      0.96 ± 1.2 %, 12 rounds, 2 µs and 1.9 µs of processor time: met");
}

TEST(Report, ALineStatesThatTheSpreadWasNotReached) {
    EXPECT_THAT(line_of(event_row(), figure_of(0.5, 0.2)),
                HasSubstr("the wanted spread was not reached: MISSED"));
    EXPECT_THAT(line_of(event_row(), figure_of(0.5, 0.01)), Not(HasSubstr("not reached")));
}

TEST(Report, ALineStatesWhyARowWasNotMeasured) {
    Figure figure;
    figure.fault = "no wispd";
    EXPECT_THAT(line_of(event_row(), figure), HasSubstr("NOT MEASURED: no wispd"));
}

TEST(Report, TheTableHasAColumnForEachRun) {
    Row memory = event_row();
    memory.ratio = Ratio::cost;
    memory.cost = Cost::bytes;
    memory.target = 4;
    Figure faulty;
    faulty.fault = "no wispd";
    EXPECT_EQ(
        markdown_table({event_row(), memory},
                       {{figure_of(0.96, 0), figure_of(1.951, 0.2)}, {figure_of(3.5, 0), faulty}}),
        "| work | beside | why that is the limit | measured | target | run 1 | run 2 | verdict |\n"
        "|---|---|---|---|---|---|---|---|\n"
        "| events | a bare loop | it reads the same bytes | rate, processor time | at least 0.95 | 0.96 | "
        "1.95 ± 20 % | met |\n"
        "| events | a bare loop | it reads the same bytes | cost, bytes | at most 4 | 3.5 | – | NOT "
        "MEASURED |\n");
}

} // namespace
} // namespace comparison
