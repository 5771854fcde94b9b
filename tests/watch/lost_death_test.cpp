// SPDX-License-Identifier: Apache-2.0
// A program that makes requests loses an event with hb_client.h alone, and none with a watch.
#include <gtest/gtest.h>

#include "tests/system/clusters.h"
#include "tests/system/daemon.h"

namespace hb_test {
namespace {

using Lines = std::vector<std::string>;

// What the program prints after node 3 has died and it makes its request.
Lines lines_after_a_death(const std::string &program) {
    Daemon daemon(programs_of_this_build(), small_cluster_file());
    EXPECT_TRUE(daemon.start());
    Child_Process child(
        {programs_of_this_build().path(program)},
        {{"HB_SERVER_SOCKET", daemon.socket()}, {"HA_DOMAIN_NAME", ""}, {"HA_SYSPAR_NAME", ""}});
    EXPECT_EQ("watching", child.read_line().value_or(child.error_output()));
    // When the command is answered, the event is in the program's socket.
    EXPECT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    child.write_input("\n");
    Lines lines;
    while (const auto line = child.read_line()) {
        lines.push_back(*line);
    }
    const auto end = child.wait();
    EXPECT_TRUE(end && end->signal == 0 && end->exit_status == 0) << child.error_output();
    return lines;
}

TEST(LostDeath, TheRequestOfAProgramWithoutAWatchSwallowsIt) {
    EXPECT_EQ((Lines{"the request failed with error 10", "end"}), lines_after_a_death("lost_death"));
}

TEST(LostDeath, AProgramWithAWatchReportsItAndItsRequestSucceeds) {
    EXPECT_EQ((Lines{"the adapter's state is known", "node 3 died", "end"}), lines_after_a_death("kept_death"));
}

} // namespace
} // namespace hb_test
