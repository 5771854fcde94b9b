// SPDX-License-Identifier: Apache-2.0
// The command of `watch --exec`: what it receives, in which order, and what waits for it.
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/deadline.h"
#include "tests/support/environment_guard.h"
#include "tests/support/temp_dir.h"
#include "tools/hbctl/command_queue.h"
#include "tools/hbctl/command_run.h"
#include "tools/hbctl/event_environment.h"

using namespace hbctl;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

std::string content(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

// Waits until every call has ended.
void finish(Command_Queue &queue) {
    EXPECT_TRUE(hb_test::wait_readable(queue.close()));
    EXPECT_EQ(queue.left(), 0U);
}

} // namespace

TEST(HbctlCommandRun, TheCommandReceivesItsInputAndItsVariables) {
    const hb_test::Temp_Dir directory;
    const hb_test::Environment_Guard old("HB_FFDC_ID", std::string("of another event"));
    const std::string out = directory.file("out");
    EXPECT_EQ(run_shell("{ cat; echo \"$HB_EVENT [$HB_FFDC_ID] $(test -n \"$PATH\" && echo path)\"; } >" + out,
                        "input\n", {"HB_EVENT=death"}),
              "");
    EXPECT_EQ(content(out), "input\ndeath [] path\n");
}

TEST(HbctlCommandRun, AFailureIsReportedAndInputThatIsNotReadIsNone) {
    std::signal(SIGPIPE, SIG_IGN); // as hbctl does
    EXPECT_EQ(run_shell("exit 3", "x", {}), "the command ended with the exit status 3");
    EXPECT_EQ(run_shell("kill -9 $$", "x", {}), "the command was ended by signal 9");
    EXPECT_EQ(run_shell("exec true", std::string(1'000'000, 'x'), {}), "");
    EXPECT_EQ(run_shell("(exit 141); kill -PIPE $$; exit 0", "", {}), "the command was ended by signal 13")
        << "the command has the usual signals";
}

TEST(HbctlCommandQueue, CallsRunOneAfterTheOtherInOrder) {
    const hb_test::Temp_Dir directory;
    const std::string out = directory.file("out");
    Command_Queue queue("read -r line; echo $line >>" + out);
    for (int number = 1; number <= 100; ++number) {
        EXPECT_TRUE(queue.add({std::to_string(number) + "\n", {}}));
    }
    finish(queue);
    std::istringstream lines(content(out));
    for (int number = 1; number <= 100; ++number) {
        int read = 0;
        ASSERT_TRUE(lines >> read);
        EXPECT_EQ(read, number);
    }
    EXPECT_EQ(queue.dropped(), 0U);
}

TEST(HbctlCommandQueue, AFullQueueDropsAndTheNextCallHasTheNumber) {
    const hb_test::Temp_Dir directory;
    const std::string gate = directory.file("gate");
    ASSERT_EQ(std::system(("mkfifo " + gate).c_str()), 0);
    const std::string out = directory.file("out");
    Command_Queue queue(
        "read -r n; [ $n != 1 ] || read -r go <" + gate + "; echo $n ${HB_DROPPED-none} >>" + out, {2, 1000});
    EXPECT_TRUE(queue.add({"1\n", {}}));
    EXPECT_TRUE(queue.add({"2\n", {}}));
    EXPECT_FALSE(queue.add({"3\n", {}}));
    EXPECT_FALSE(queue.add({"4\n", {}}));
    EXPECT_EQ(queue.dropped(), 2U);
    std::ofstream(gate) << "go\n";
    EXPECT_TRUE(hb_test::wait_until([&] { return queue.left() == 0; }));
    EXPECT_TRUE(queue.add({"5\n" + std::string(5000, ' ') + "\n", {}})) << "one call may always wait";
    finish(queue);
    EXPECT_EQ(content(out), "1 none\n2 none\n5 2\n");
}

TEST(HbctlEventEnvironment, NamesTheEventAndItsMembers) {
    Event_Record event;
    event.kind = HB_EVENT_DEATH;
    event.sequence = 7;
    event.time = Wall_Time(std::chrono::milliseconds(1500));
    event.subscription = "hbctl-nodes";
    event.member_kind = Member_Kind::nodes;
    event.nodes = {{3, {}}, {5, {}}};
    event.ffdc_id = "id";
    EXPECT_THAT(event_environment(event),
                ElementsAre("HB_EVENT=death", "HB_TIME=1970-01-01T00:00:01.500Z", "HB_SEQ=7",
                            "HB_SUBSCRIPTION=hbctl-nodes", "HB_GROUP=nodes", "HB_NODES=3 5", "HB_FFDC_ID=id"));
}

TEST(HbctlEventEnvironment, AListThatNoVariableHoldsIsLeftOut) {
    Event_Record event;
    event.kind = HB_EVENT_NEW_GROUP;
    event.member_kind = Member_Kind::adapters;
    event.adapters.resize(98'352);
    for (std::uint32_t number = 0; number < event.adapters.size(); ++number) {
        event.adapters[number].number = number;
    }
    EXPECT_THAT(event_environment(event), Not(testing::Contains(HasSubstr("HB_ADAPTERS"))));
    event.adapters.resize(2);
    EXPECT_THAT(event_environment(event), testing::Contains("HB_ADAPTERS=0 1"));
}
