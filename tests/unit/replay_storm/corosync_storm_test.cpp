// SPDX-License-Identifier: Apache-2.0
// Storms over the service over Corosync: in every order of reading, the client's events add up to the engine's
// state.
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/replay_storm/engine_world.h"
#include "tests/unit/replay_storm/trial.h"

namespace hb_test::replay_storm {
namespace {

std::vector<Plan> plans() {
    std::vector<Weight> staying = {
        {Verb::read, 120},       {Verb::settle, 6},         {Verb::message, 3},      {Verb::fail_query, 4},
        {Verb::fail_reading, 1}, {Verb::prepare, 2},        {Verb::commit, 2},       {Verb::abort, 1},
        {Verb::restart, 1},      {Verb::node_down, 12},     {Verb::node_up, 16},     {Verb::flap, 6},
        {Verb::node_add, 5},     {Verb::node_remove, 3},    {Verb::adapter_down, 8}, {Verb::adapter_up, 10},
        {Verb::adapter_add, 4},  {Verb::adapter_remove, 3}, {Verb::address, 3},      {Verb::swap_addresses, 1},
        {Verb::reload, 2},       {Verb::peer_down, 4},      {Verb::peer_up, 5}};
    std::vector<Weight> moving = staying;
    moving.push_back({Verb::follow, 25});
    moving.push_back({Verb::prepare, 4});
    // A service waits a tenth of a second before it connects again.
    std::vector<Weight> ending = staying;
    ending.push_back({Verb::engine_ends, 2});
    ending.push_back({Verb::engine_returns, 4});
    return {{"corosync", make_engine_world, std::nullopt, staying, 2000},
            {"corosync_moving", make_engine_world, 48U, moving, 200},
            {"corosync_ending", make_engine_world, std::nullopt, ending, 500}};
}

class Replay_Storms : public testing::TestWithParam<std::tuple<std::size_t, unsigned>> {};

TEST_P(Replay_Storms, TheEventsAddUpToWhatTheEngineKnows) {
    run_short_storm(plans().at(std::get<0>(GetParam())), std::get<1>(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Corosync, Replay_Storms,
                         testing::Combine(testing::Values(0U, 1U, 2U), testing::Values(1U, 1000U)),
                         [](const auto &one) {
                             return plans().at(std::get<0>(one.param)).name + "_" +
                                    std::to_string(std::get<1>(one.param));
                         });

TEST(Replay_Storm, OfAsManyStepsAsAreAskedFor) {
    run_long_storm(plans());
}

TEST(Replay_Storm, OfAScript) {
    run_script(plans());
}

} // namespace
} // namespace hb_test::replay_storm
