// SPDX-License-Identifier: Apache-2.0
// Runs storms, each life in its own process. Shortens a storm that violates a rule as far as possible.
#pragma once

#include <string>
#include <vector>

#include "tests/unit/replay_storm/step.h"
#include "tests/unit/replay_storm/storm.h"

namespace hb_test::replay_storm {

struct Outcome {
    std::string rule; // the violated rule; empty: none
    std::string text; // the expectation, and the events before
    int step = 0;     // the step at which the storm ended

    bool is_clean() const { return rule.empty(); }
};

// Runs it in a child process.
Outcome run(const Plan &plan, const Script &script);

// Makes this many steps; the last of them settles.
Script throw_script(const Plan &plan, unsigned seed, int steps);

// Leaves out as many steps as possible, as long as the same rule is still violated.
Script shorten(const Plan &plan, const Script &script, const Outcome &outcome);

// Runs it. If a rule is violated, the test fails with a short script.
bool expect_clean(const Plan &plan, unsigned seed, int steps);
bool expect_clean(const Plan &plan, const Script &script, const std::string &origin);

// The tests of a program over these plans.
//
//   HB_REPLAY_STORM_STEPS, HB_REPLAY_STORM_SEED  the long storm: the total number of steps, and the first seed
//   HB_REPLAY_STORM_PLAN                         runs only this plan
//   HB_REPLAY_STORM_SCRIPT                       runs only this script, as printed by a failure
//   HB_REPLAY_STORM_WITHOUT                      verbs that are left out, separated by blanks
void run_short_storm(const Plan &plan, unsigned seed);
void run_long_storm(const std::vector<Plan> &plans);
void run_script(const std::vector<Plan> &plans);

} // namespace hb_test::replay_storm
