// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/cluster/namespace_sweep.h"
#include "tests/cluster/serf_agents.h"
#include "tests/cluster/serf_test.h"

namespace hb_test {
namespace {

using testing::HasSubstr;

const char *const KEY = "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8=";

class SerfAgentsTest : public SerfTest {};

TEST_F(SerfAgentsTest, ThirtyAgentsFindEachOtherAndReportOneThatIsKilled) {
    Serf_Agents agents(30);
    agents.start_all();
    ASSERT_TRUE(agents.wait_all_alive()) << agents.account();
    std::set<int> left = nodes_up_to(30);
    left.erase(17);
    agents.kill(17, 0);
    EXPECT_FALSE(agents.running(17, 0));
    EXPECT_EQ(agents.counts(17, 0), std::nullopt);
    ASSERT_TRUE(agents.wait_alive(0, left, left)) << agents.account();
    EXPECT_EQ(agents.counts(1, 0), (Serf_Counts{29, 1, 0}));

    agents.start(17, 0);
    EXPECT_TRUE(agents.wait_all_alive()) << agents.account();
}

TEST_F(SerfAgentsTest, EachNetworkIsAClusterOfItsOwn) {
    Serf_Agents agents(3, 2, {"local", KEY, "secret"});
    agents.start_all();
    ASSERT_TRUE(agents.wait_all_alive()) << agents.account();
    agents.kill(3, 1);
    ASSERT_TRUE(agents.wait_alive(1, {1, 2}, {1, 2})) << agents.account();
    EXPECT_EQ(agents.counts(1, 0), (Serf_Counts{3, 0, 0}));
    EXPECT_EQ(Serf_Agents::address(251, 3), "127.13.1.1");
}

TEST_F(SerfAgentsTest, AnAgentThatLeavesHasLeftAndOneThatIsStoppedHasFailed) {
    Serf_Agents agents(5);
    agents.start_all();
    ASSERT_TRUE(agents.wait_all_alive()) << agents.account();
    agents.leave(2, 0);
    agents.stop(3, 0);
    ASSERT_TRUE(agents.wait_alive(0, {1, 4, 5}, {1, 4, 5})) << agents.account();
    EXPECT_EQ(agents.counts(1, 0), (Serf_Counts{3, 1, 1}));
    agents.proceed(3, 0);
    agents.start(2, 0);
    EXPECT_TRUE(agents.wait_all_alive()) << agents.account();
}

TEST_F(SerfAgentsTest, APartedNetworkIsTwoGroupsUntilItIsMended) {
    if (const std::optional<std::string> reason = why_no_partitions()) {
        GTEST_SKIP() << "networks cannot be parted here: " << *reason;
    }
    Serf_Agents agents(6, 2);
    agents.start_all();
    ASSERT_TRUE(agents.wait_all_alive()) << agents.account();
    agents.part(1, {1, 2});
    ASSERT_TRUE(agents.wait_alive(1, {1, 2}, {1, 2})) << agents.account();
    ASSERT_TRUE(agents.wait_alive(1, {3, 4, 5, 6}, {3, 4, 5, 6})) << agents.account();
    EXPECT_EQ(agents.counts(1, 0), (Serf_Counts{6, 0, 0}));
    agents.mend(1);
    EXPECT_TRUE(agents.wait_all_alive()) << agents.account();
}

TEST_F(SerfAgentsTest, LinksThatLoseAFewPacketsKeepEveryAgentAlive) {
    if (const std::optional<std::string> reason = why_no_loss()) {
        GTEST_SKIP() << "links cannot lose packets here: " << *reason;
    }
    Serf_Agents agents(3);
    agents.start_all();
    ASSERT_TRUE(agents.wait_all_alive()) << agents.account();
    agents.lose(100);
    ASSERT_TRUE(wait_until([&] { return agents.counts(1, 0) == std::nullopt; }));
    agents.lose(0);
    EXPECT_TRUE(agents.wait_all_alive()) << agents.account();
}

TEST_F(SerfAgentsTest, TheObserverReportsTheMembersAndEachEvent) {
    Serf_Agents agents(3, 1, {"local", KEY, "secret"});
    agents.start_all();
    ASSERT_TRUE(agents.wait_all_alive()) << agents.account();
    const auto observer =
        agents.places().run(Serf_Agents::HOST, {std::string(HB_TEST_BIN_DIR) + "/serf_observer", "--numbers",
                                                "--key", "secret", Serf_Agents::rpc_address(1, 0)});
    const std::optional<std::string> first = observer->read_line();
    ASSERT_TRUE(first) << observer->error_output();
    EXPECT_THAT(*first, testing::ContainsRegex("^[0-9]+\\.[0-9]{9} agent "));
    for (const char *member : {" 1=127.10.0.1,alive", " 2=127.10.0.2,alive", " 3=127.10.0.3,alive"}) {
        EXPECT_THAT(*first, HasSubstr(member));
    }
    agents.kill(3, 0);
    EXPECT_TRUE(observer->read_until(" member-failed 3=127.10.0.3,failed")) << observer->error_output();
    agents.leave(2, 0);
    EXPECT_TRUE(observer->read_until(" member-leave 2=127.10.0.2,left")) << observer->error_output();
    agents.start(3, 0);
    EXPECT_TRUE(observer->read_until(" member-join 3=127.10.0.3,alive")) << observer->error_output();
    agents.kill(1, 0);
    EXPECT_TRUE(observer->read_until(" gone")) << observer->error_output();
    agents.start(1, 0);
    EXPECT_TRUE(observer->read_until(" agent ")) << observer->error_output();
}

TEST_F(SerfAgentsTest, AnObserverWithoutTheKeyReportsNothing) {
    Serf_Agents agents(1, 1, {"local", "", "secret"});
    agents.start_all();
    ASSERT_TRUE(agents.wait_all_alive()) << agents.account();
    const auto observer = agents.places().run(
        Serf_Agents::HOST, {std::string(HB_TEST_BIN_DIR) + "/serf_observer", Serf_Agents::rpc_address(1, 0)});
    ASSERT_TRUE(wait_until([&] {
        observer->read_line(Deadline(std::chrono::milliseconds(10)));
        return observer->error_output().find("the agent answers: ") != std::string::npos;
    }));
    EXPECT_EQ(observer->output(), "");
}

TEST_F(SerfAgentsTest, NothingIsLeft) {
    std::string space;
    std::string folder;
    {
        Serf_Agents agents(3);
        agents.start_all();
        ASSERT_TRUE(agents.wait_all_alive()) << agents.account();
        space = network_namespace(agents.places().holders().front());
        EXPECT_NE(space, network_namespace(getpid()));
        folder = agents.places().outside(Serf_Agents::HOST, "/run/serf");
        EXPECT_TRUE(std::filesystem::exists(folder));
    }
    EXPECT_THAT(processes_in({space}), testing::IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(folder));
    EXPECT_FALSE(std::filesystem::exists("/run/serf"));
}

// The agents run in a process of their own, which the test kills.
TEST_F(SerfAgentsTest, NothingIsLeftWhenTheTestIsKilled) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        Serf_Agents agents(3);
        agents.start_all();
        const pid_t holder = agents.wait_all_alive() ? agents.places().holders().front() : -1;
        _exit(write(ready[1], &holder, sizeof holder) == sizeof holder ? pause() : 1);
    }
    pid_t holder = -1;
    ASSERT_EQ(read(ready[0], &holder, sizeof holder), static_cast<ssize_t>(sizeof holder));
    const std::string space = network_namespace(holder);
    EXPECT_GE(processes_in({space}).size(), 4U);
    ASSERT_EQ(kill(child, SIGKILL), 0);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_TRUE(wait_until([&] { return processes_in({space}).empty(); }));
}

} // namespace
} // namespace hb_test
