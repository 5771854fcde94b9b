// SPDX-License-Identifier: Apache-2.0
// The memory of wispd's clients holds keys. Only root can read it from outside.
#include <csignal>
#include <sys/stat.h>

#include "tests/security/roles.h"
#include "tests/system/clusters.h"
#include "tests/system/daemon.h"

namespace hb_test {
namespace {

TEST(Hbctl_Memory, CannotBeReadByAnotherProgramOfTheSameUser) {
    HB_NEEDS_ROLES();
    const Public_Programs programs(programs_of_this_build());
    Daemon daemon(programs_of_this_build(), small_cluster_file() + "[security]\n[daemon]\ngroup = \"" +
                                                std::to_string(CLIENT_GROUP) + "\"\n");
    ASSERT_TRUE(daemon.start());
    ASSERT_EQ(0, chmod(daemon.directory().c_str(), 0755));
    const auto watch = programs.start(Role::client, {"hbctl", "--socket", daemon.socket(), "watch"});
    ASSERT_TRUE(watch->read_until("node group"));
    const std::string memory = "/proc/" + std::to_string(watch->pid()) + "/maps";
    EXPECT_EQ(0, programs.run(Role::root, {"head", "-c1", memory}).exit_status);
    const Ended attempt = programs.run(Role::client, {"head", "-c1", memory});
    EXPECT_EQ(1, attempt.exit_status);
    EXPECT_NE(attempt.errors.find("Permission denied"), std::string::npos) << attempt.errors;
    watch->send_signal(SIGTERM);
    EXPECT_TRUE(watch->wait());
    EXPECT_TRUE(daemon.stop());
}

} // namespace
} // namespace hb_test
