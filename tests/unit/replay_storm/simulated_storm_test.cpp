// SPDX-License-Identifier: Apache-2.0
// Storms over the simulated service: in every order of reading, the client's events add up to the service's
// state.
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/replay_storm/simulated_world.h"
#include "tests/unit/replay_storm/trial.h"

namespace hb_test::replay_storm {
namespace {

std::vector<Weight> weights_of_cluster() {
    return {
        {Verb::read, 90},          {Verb::settle, 8},      {Verb::message, 3},        {Verb::fail_query, 4},
        {Verb::fail_reading, 1},   {Verb::prepare, 2},     {Verb::commit, 2},         {Verb::node_down, 12},
        {Verb::node_up, 16},       {Verb::node_add, 6},    {Verb::node_remove, 4},    {Verb::adapter_down, 8},
        {Verb::adapter_up, 10},    {Verb::adapter_add, 6}, {Verb::adapter_remove, 4}, {Verb::address, 4},
        {Verb::swap_addresses, 2}, {Verb::batch, 4},       {Verb::reload, 3},         {Verb::repeat, 2},
        {Verb::local_record, 1},   {Verb::peer_down, 4},   {Verb::peer_up, 4}};
}

std::vector<Plan> plans() {
    std::vector<Weight> staying = weights_of_cluster();
    staying.push_back({Verb::abort, 1});
    staying.push_back({Verb::restart, 1});
    std::vector<Weight> moving = staying;
    moving.push_back({Verb::follow, 25});
    moving.push_back({Verb::prepare, 4});
    return {{"simulated", make_simulated_world, std::nullopt, staying, 2000},
            {"moving", make_simulated_world, 48U, moving, 200},
            {"moving_with_other_numbers", make_simulated_world, 4U, moving, 200},
            {"moving_with_unknown_nodes", make_simulated_world, 48U, moving, 200, true}};
}

class Replay_Storms : public testing::TestWithParam<std::tuple<std::size_t, unsigned>> {};

TEST_P(Replay_Storms, TheEventsAddUpToWhatTheServiceKnows) {
    run_short_storm(plans().at(std::get<0>(GetParam())), std::get<1>(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Simulated, Replay_Storms,
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
