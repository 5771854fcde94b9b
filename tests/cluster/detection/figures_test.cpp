// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tests/cluster/detection/figures.h"

namespace hb_test {
namespace {

TEST(Figures, TheMedianStandsBeforeTheEnds) {
    EXPECT_EQ(in_seconds({3.0, 1.004, 2.0}), "2.00 (1.00 to 3.00)");
    EXPECT_EQ(in_seconds({4.0, 1.0, 3.0, 2.0}), "2.50 (1.00 to 4.00)");
    EXPECT_EQ(in_seconds({0.5}), "0.50 (0.50 to 0.50)");
    EXPECT_EQ(in_seconds({}), "-");
}

TEST(Figures, ShortTimesAreToldInMilliseconds) {
    EXPECT_EQ(in_milliseconds({0.0201, 0.0012, 0.0015}), "1.5 (1.2 to 20.1) ms");
}

TEST(Figures, TheTableHasALineBehindItsHead) {
    EXPECT_EQ(markdown({{"what", "token 1000"}, {"it dies", "2.00"}}),
              "| what | token 1000 |\n|---|---|\n| it dies | 2.00 |\n");
}

} // namespace
} // namespace hb_test
