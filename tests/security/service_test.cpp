// SPDX-License-Identifier: Apache-2.0
// wispd works under the restrictions of its unit, which tests/security/confined applies.
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/security/confined_programs.h"
#include "tests/security/roles.h"
#include "tests/security/unit_file.h"
#include "tests/support/datagram_socket.h"
#include "tests/system/clusters.h"
#include "tests/system/hbctl.h"

namespace hb_test {
namespace {

class Confined_Service : public testing::Test {
  protected:
    void SetUp() override {
        if (const std::string why = why_not_confined(); !why.empty()) {
            GTEST_SKIP() << why;
        }
        programs_ = std::make_unique<Confined_Programs>(std::vector{Temp_Dir::root()});
    }

    std::unique_ptr<Confined_Programs> programs_;
};

std::string with_keys_and_group() {
    return small_cluster_file() + "[security]\n[daemon]\ngroup = \"" + std::to_string(CLIENT_GROUP) + "\"\n";
}

TEST_F(Confined_Service, ServesItsClients) {
    Daemon daemon(programs_->programs(), with_keys_and_group());
    ASSERT_TRUE(daemon.start());
    const auto hbctl = [&](const std::vector<std::string> &words) {
        return run_hbctl(programs_of_this_build(), daemon, words);
    };
    EXPECT_EQ(0, hbctl({"status"}).exit_status);
    EXPECT_EQ(0, hbctl({"route", "3", "--shared"}).exit_status);
    EXPECT_EQ(0, hbctl({"keys"}).exit_status);
    EXPECT_EQ(said("node-down 3: sent"), hbctl({"node-down", "3"}));
    EXPECT_TRUE(daemon.wait_logged("nodes died: 3"));
    EXPECT_TRUE(daemon.tells(R"({"do":"node-up","node":3})"));
    struct stat socket {};
    ASSERT_EQ(0, stat(daemon.socket().c_str(), &socket));
    EXPECT_EQ(static_cast<gid_t>(CLIENT_GROUP), socket.st_gid) << "by the one capability that it keeps";
    daemon.send_signal(SIGHUP);
    EXPECT_TRUE(daemon.wait_logged("configuration 2:"));
    EXPECT_TRUE(daemon.stop());
}

TEST_F(Confined_Service, NotifiesItsServiceManager) {
    const Temp_Dir directory;
    const Datagram_Socket manager(directory.file("notify"));
    Daemon daemon(programs_->programs(), with_keys_and_group());
    daemon.set_environment({{"NOTIFY_SOCKET", manager.name()}, {"WATCHDOG_USEC", "1000000"}});
    ASSERT_TRUE(daemon.start());
    EXPECT_TRUE(manager.receive_with("READY=1"));
    EXPECT_TRUE(manager.receive_with("WATCHDOG=1"));
    EXPECT_TRUE(daemon.stop());
    EXPECT_TRUE(manager.receive_with("STOPPING=1"));
}

// The restrictions that systemd would apply are in force here as well. Otherwise the test above would show
// nothing.
TEST_F(Confined_Service, MayDoNothingElse) {
    const auto confined = [](const std::string &command) {
        Child_Process process({confined_path(), HB_TEST_UNIT, "/bin/sh", "-c", command});
        process.close_input();
        const std::optional<Child_End> end = process.wait();
        return end ? end->exit_status : -1;
    };
    EXPECT_EQ(0, confined("true"));
    EXPECT_NE(0, confined("touch /etc/hb_confined_test"));
    EXPECT_NE(0, confined("unshare -n true"));
    EXPECT_NE(0, confined("mount -t tmpfs none /mnt"));
    EXPECT_EQ(0, confined("grep -q 'CapEff:.*0000000000000001$' /proc/self/status"));
    EXPECT_EQ(0, confined("grep -q 'NoNewPrivs:.*1$' /proc/self/status"));
    EXPECT_EQ(0, confined("grep -q 'Seccomp:.*2$' /proc/self/status"));
    EXPECT_EQ(0, confined("test $(ulimit -c) = 0"));
}

// Every user may pass the directories on the way to the socket, although the unit's umask keeps files private.
TEST(Service_Unit, MakesTheDirectoryOfTheSocketSoThatClientsReachIt) {
    const Unit_File unit(HB_TEST_UNIT);
    const Temp_Dir directory;
    const std::string line =
        replaced(unit.value("ExecStartPre").substr(1), "/var/ha", directory.path() + "/ha");
    Child_Process process({"/bin/sh", "-c", "umask " + unit.value("UMask") + "; " + line});
    process.close_input();
    ASSERT_TRUE(process.wait());
    for (const char *made : {"/ha", "/ha/soc", "/ha/soc/wisp"}) {
        struct stat status {};
        ASSERT_EQ(0, stat((directory.path() + made).c_str(), &status)) << made << process.error_output();
        EXPECT_EQ(0755U, status.st_mode & 07777) << made;
    }
}

TEST(Service_Unit, RestartsAWispdThatDoesNotFeedItsWatchdog) {
    const Unit_File unit(HB_TEST_UNIT);
    EXPECT_EQ(unit.value("Type"), "notify");
    EXPECT_GT(std::stoi(unit.value("WatchdogSec")), 0);
    EXPECT_EQ(unit.value("WatchdogSignal"), "SIGKILL") << "ends also a process that is stopped";
    EXPECT_EQ(unit.value("Restart"), "on-failure") << "a missed watchdog is a failure";
}

TEST(Service_Unit, HasAnExposureOfAtMostThree) {
    if (access("/usr/bin/systemd-analyze", X_OK) != 0) {
        GTEST_SKIP() << "systemd-analyze is missing";
    }
    Child_Process process(
        {"systemd-analyze", "security", "--offline=true", "--no-pager", "--threshold=30", HB_TEST_UNIT});
    process.close_input();
    const std::optional<Child_End> end = process.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(0, end->exit_status) << process.output() << process.error_output();
}

} // namespace
} // namespace hb_test
