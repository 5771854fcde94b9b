// SPDX-License-Identifier: Apache-2.0
// A short storm for each driver. HB_WATCH_FAULTS and HB_WATCH_SEED make it longer, or another one.
#include <cstdlib>

#include <gtest/gtest.h>

#include "tests/watch/watch_storm.h"

namespace hb_test {
namespace {

unsigned setting(const char *name, unsigned otherwise) {
    const char *text = std::getenv(name);
    return text != nullptr ? static_cast<unsigned>(std::stoul(text)) : otherwise;
}

class WatchStorm : public testing::TestWithParam<Driver_Command> {};

TEST_P(WatchStorm, EndsWithTheTruthAtEveryQuietMoment) {
    const unsigned seed = setting("HB_WATCH_SEED", 20261122);
    const unsigned faults = setting("HB_WATCH_FAULTS", 60);
    const Watch_Storm_Outcome outcome = Watch_Storm(programs_of_this_build(), {GetParam()}, seed).run(faults);
    EXPECT_TRUE(outcome.good()) << watch_storm_report(outcome, seed);
    EXPECT_GE(outcome.all_faults(), faults);
    EXPECT_GE(outcome.quiet_moments, faults / 10);
    EXPECT_GE(outcome.moves, GetParam().has_requests ? 1U : 0U);
    // Otherwise nothing would have been put to the test.
    EXPECT_GT(outcome.changes, faults / 2);
    EXPECT_GT(outcome.exact, 0U);
}

std::string driver_name(const testing::TestParamInfo<Driver_Command> &param) {
    return param.param.name;
}

INSTANTIATE_TEST_SUITE_P(Drivers, WatchStorm, testing::ValuesIn(drivers_of(programs_of_this_build())),
                         driver_name);

} // namespace
} // namespace hb_test
