// SPDX-License-Identifier: Apache-2.0
// Messages and shared memory that no honest daemon would make, and how a client handles them.
#include <filesystem>
#include <sys/stat.h>

#include "tests/security/roles.h"
#include "tests/support/deadline.h"

namespace hb_test {
namespace {

class Hostile_Daemon : public testing::Test {
  protected:
    void SetUp() override {
        HB_NEEDS_ROLES();
        programs.emplace(programs_of_this_build());
        ASSERT_EQ(0, chmod(directory.path().c_str(), 01777));
    }
    void TearDown() override {
        for (const auto &attack : running) {
            attack->close_input();
            EXPECT_TRUE(attack->wait());
        }
    }

    // Runs until the test ends.
    void start(Role role, const std::vector<std::string> &words, const std::string &until) {
        running.push_back(programs->start(role, words));
        ASSERT_TRUE(running.back()->read_until(until)) << running.back()->error_output();
    }
    void serve(Role role, int hops, const std::string &segments) {
        start(role, {"hb_attack", "hostile-daemon", socket, std::to_string(hops), segments}, "listening");
    }
    Ended hbctl(const std::vector<std::string> &words) {
        std::vector<std::string> line = {"hbctl", "--socket", socket};
        line.insert(line.end(), words.begin(), words.end());
        return programs->run(Role::client, line);
    }

    Temp_Dir directory;
    const std::string socket = directory.file("s");
    std::optional<Public_Programs> programs;
    std::vector<std::unique_ptr<Child_Process>> running;
};

testing::AssertionResult failed_with(const Ended &end, int error) {
    const bool as_expected = end.exit_status == 1 && end.output.empty() &&
                             end.errors.ends_with(" (error " + std::to_string(error) + ")\n");
    return as_expected ? testing::AssertionSuccess()
                       : testing::AssertionFailure() << testing::PrintToString(end);
}

TEST_F(Hostile_Daemon, ALongRouteInAReplyIsError10) {
    serve(Role::outsider, 12, "segments");
    EXPECT_TRUE(failed_with(hbctl({"route", "1"}), 10));
}

TEST_F(Hostile_Daemon, ALongRouteInSharedMemoryIsError6) {
    serve(Role::outsider, 12, "segments");
    EXPECT_TRUE(failed_with(hbctl({"route", "1", "--shared"}), 6));
}

TEST_F(Hostile_Daemon, ARouteThatFitsIsShown) {
    serve(Role::outsider, 11, "segments");
    EXPECT_EQ(0, hbctl({"route", "1"}).exit_status);
    EXPECT_EQ(0, hbctl({"route", "1", "--shared"}).exit_status);
}

TEST_F(Hostile_Daemon, AnotherUsersSegmentsAreNotReadInTheDaemonsPlace) {
    serve(Role::root, 1, "none");
    start(Role::outsider, {"hb_attack", "squat", socket, "1"}, "made");
    EXPECT_TRUE(failed_with(hbctl({"route", "1", "--shared"}), 37));
}

TEST_F(Hostile_Daemon, ItsConnectionIsNotLeftToAProgramThatTheClientStarts) {
    serve(Role::outsider, 1, "segments");
    const std::string client = programs_of_this_build().path("exec_client");
    const Ended end = programs->run(Role::root, {"env", "HB_SERVER_SOCKET=" + socket, client,
                                                 programs->path("hb_attack"), "inherited-sockets"});
    EXPECT_EQ(1, end.exit_status) << testing::PrintToString(end);
    EXPECT_EQ("", end.output);
}

// The caller of a program with root's rights cannot choose the program's daemon.
TEST_F(Hostile_Daemon, TheEnvironmentDoesNotLeadAProgramWithMoreRightsThanItsCallerToIt) {
    serve(Role::outsider, 1, "segments");
    const std::vector<std::string> plain = {"env", "HB_SERVER_SOCKET=" + socket,
                                            programs_of_this_build().path("hbctl"), "networks"};
    EXPECT_EQ(0, programs->run(Role::root, plain).exit_status);
    ASSERT_TRUE(running.back()->read_until("a client is connected"));

    std::vector<std::string> privileged = {"setpriv", "--ruid", std::to_string(OUTSIDER_USER)};
    privileged.insert(privileged.end(), plain.begin(), plain.end());
    const Ended end = programs->run(Role::root, privileged);
    EXPECT_EQ(1, end.exit_status) << testing::PrintToString(end);
    EXPECT_NE(std::string::npos, end.errors.find("/var/ha/soc/wisp/server_socket")) << end.errors;
    running.back()->close_input();
    EXPECT_FALSE(running.back()->read_until("a client is connected")) << "it went to the hostile daemon";
}

TEST_F(Hostile_Daemon, HbctlSaysThatAProgramWithMoreRightsThanItsCallerTakesNoSocket) {
    const Ended end =
        programs->run(Role::root, {"setpriv", "--ruid", std::to_string(OUTSIDER_USER),
                                   programs_of_this_build().path("hbctl"), "--socket", socket, "nodes"});
    EXPECT_EQ(1, end.exit_status);
    EXPECT_NE(std::string::npos, end.errors.find("--socket cannot be used")) << end.errors;
}

} // namespace
} // namespace hb_test
