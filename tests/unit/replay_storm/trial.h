// Runs storms, each life in a process of its own, and makes those that break a rule as short as they can be.
#ifndef HB_TEST_REPLAY_STORM_TRIAL_H
#define HB_TEST_REPLAY_STORM_TRIAL_H

#include <string>
#include <vector>

#include "tests/unit/replay_storm/step.h"
#include "tests/unit/replay_storm/storm.h"

namespace hb_test::replay_storm {

struct Outcome {
    std::string rule; // that was broken; empty: none
    std::string text; // what was expected, and what happened before
    int step = 0;     // at which the storm ended

    bool is_clean() const { return rule.empty(); }
};

// In a child process.
Outcome run(const Plan &plan, const Script &script);

// So many steps, and the last of them settles.
Script throw_script(const Plan &plan, unsigned seed, int steps);

// The steps that still break the same rule when as many as possible are left out.
Script shorten(const Plan &plan, const Script &script, const Outcome &outcome);

// Runs it and fails the test with a short script when a rule is broken.
bool expect_clean(const Plan &plan, unsigned seed, int steps);
bool expect_clean(const Plan &plan, const Script &script, const std::string &origin);

// The tests of a program over these plans.
//
//   HB_REPLAY_STORM_STEPS, HB_REPLAY_STORM_SEED  the long storm: how many steps in all, and the first seed
//   HB_REPLAY_STORM_PLAN                         this plan alone
//   HB_REPLAY_STORM_SCRIPT                       this script alone, as a failure prints it
//   HB_REPLAY_STORM_WITHOUT                      verbs that are not thrown, with blanks between
void run_short_storm(const Plan &plan, unsigned seed);
void run_long_storm(const std::vector<Plan> &plans);
void run_script(const std::vector<Plan> &plans);

} // namespace hb_test::replay_storm

#endif
