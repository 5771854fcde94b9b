// SPDX-License-Identifier: Apache-2.0
// wispd under the restrictions of its unit follows real engines: their shared memory and sockets, and netlink.
#include <gtest/gtest.h>

#include "tests/security/confined_programs.h"
#include "tests/support/child_process.h"

namespace hb_test {
namespace {

constexpr int NOT_POSSIBLE_HERE = 3;

TEST(Confined_Service_On_Engines, ReportsEveryFaultAndEveryRepair) {
    if (const std::string why = why_not_confined(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    const Confined_Programs confined({"/run"}); // of each host; it contains the sockets
    Child_Process demo({programs_of_this_build().path("demo_cluster"), "--programs",
                        confined.programs().directory, "--config",
                        HB_TEST_SOURCE_DIR "/examples/demo/corosync.toml"});
    demo.close_input();
    const std::optional<Child_End> end = demo.wait(Deadline(std::chrono::minutes(4)));
    ASSERT_TRUE(end) << demo.output();
    if (end->exit_status == NOT_POSSIBLE_HERE) {
        GTEST_SKIP() << demo.error_output();
    }
    EXPECT_EQ(0, end->exit_status) << demo.output() << demo.error_output();
    EXPECT_NE(demo.output().find("The demo is complete"), std::string::npos);
}

} // namespace
} // namespace hb_test
