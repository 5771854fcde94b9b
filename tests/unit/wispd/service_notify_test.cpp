// SPDX-License-Identifier: Apache-2.0
// Notifications to a service manager, in each way that this build can send them.
#include <cstdlib>
#include <ostream>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/service_notify.h"
#include "tests/support/child_process.h"
#include "tests/support/datagram_socket.h"
#include "tests/support/environment_guard.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/wispd/log_fixture.h"

namespace wispd {

void PrintTo(const Notify_Sender &sender, std::ostream *out) {
    *out << sender.name;
}

} // namespace wispd

namespace {

using namespace std::chrono_literals;
using hb_test::Datagram_Socket;
using hb_test::Environment_Guard;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::Optional;
using wispd::Notify_Sender;
using wispd::Service_Notify;

class WispdServiceNotify : public testing::TestWithParam<Notify_Sender> {
  protected:
    // Sets the manager's variables as at a start under it, and reads them.
    Service_Notify notify(const std::optional<std::string> &socket,
                          const std::optional<std::string> &interval = std::nullopt,
                          const std::optional<std::string> &process = std::nullopt) {
        const Environment_Guard socket_variable("NOTIFY_SOCKET", socket);
        const Environment_Guard interval_variable("WATCHDOG_USEC", interval);
        const Environment_Guard process_variable("WATCHDOG_PID", process);
        return Service_Notify::from_environment(GetParam());
    }

    hb_test::Temp_Dir directory_;
};

TEST_P(WispdServiceNotify, MessagesArriveInTheirOrderAtAPath) {
    const Datagram_Socket manager(directory_.file("notify"));
    Service_Notify notify = this->notify(manager.name());
    EXPECT_TRUE(notify.is_wanted());
    notify.starting(70s, "waiting");
    notify.ready("3 of 5 nodes up");
    notify.reloading();
    notify.status("2 of 5 nodes up");
    notify.feed_watchdog();
    notify.stopping("SIGTERM");
    EXPECT_THAT(manager.receive(), Optional(std::string("EXTEND_TIMEOUT_USEC=70000000\nSTATUS=waiting")));
    EXPECT_THAT(manager.receive(), Optional(std::string("READY=1\nSTATUS=3 of 5 nodes up")));
    EXPECT_THAT(manager.receive().value_or(""),
                MatchesRegex("RELOADING=1\nMONOTONIC_USEC=[1-9][0-9]*\nSTATUS=reading the configuration"));
    EXPECT_THAT(manager.receive(), Optional(std::string("STATUS=2 of 5 nodes up")));
    EXPECT_THAT(manager.receive(), Optional(std::string("WATCHDOG=1")));
    EXPECT_THAT(manager.receive(), Optional(std::string("STOPPING=1\nSTATUS=SIGTERM")));
}

TEST_P(WispdServiceNotify, MessagesArriveInTheAbstractNamespace) {
    const Datagram_Socket manager("@hb_test_notify_" + std::to_string(getpid()) + "_" + GetParam().name);
    notify(manager.name()).ready("up");
    EXPECT_THAT(manager.receive(), Optional(std::string("READY=1\nSTATUS=up")));
}

TEST_P(WispdServiceNotify, WithoutAManagerNothingIsSentOrLogged) {
    const wispd_test::Captured_Log log;
    Service_Notify notify = this->notify(std::nullopt);
    EXPECT_FALSE(notify.is_wanted());
    EXPECT_FALSE(notify.watchdog());
    notify.ready("up");
    Service_Notify().ready("up");
    EXPECT_THAT(log.lines(), testing::IsEmpty());
}

TEST_P(WispdServiceNotify, ProgramsStartedLaterDoNotInheritTheVariables) {
    const Datagram_Socket manager(directory_.file("notify"));
    const Environment_Guard socket_variable("NOTIFY_SOCKET", manager.name());
    const Environment_Guard interval_variable("WATCHDOG_USEC", "1000000");
    const Environment_Guard process_variable("WATCHDOG_PID", std::to_string(getpid()));
    const auto environment = [] {
        hb_test::Child_Process child({"env"});
        child.wait();
        return child.output();
    };
    ASSERT_THAT(environment(), HasSubstr("NOTIFY_SOCKET=" + manager.name()));
    Service_Notify notify = Service_Notify::from_environment(GetParam());
    EXPECT_EQ(notify.watchdog(), 1s);
    notify.ready("up");
    EXPECT_TRUE(manager.receive());
    EXPECT_THAT(environment(), Not(HasSubstr("NOTIFY_SOCKET")));
    EXPECT_THAT(environment(), Not(HasSubstr("WATCHDOG_")));
}

TEST_P(WispdServiceNotify, TheWatchdogIsThatOfThisProcessAlone) {
    const std::string own = std::to_string(getpid());
    EXPECT_EQ(notify("/x", "3000000").watchdog(), 3s);
    EXPECT_EQ(notify("/x", "3000000", own).watchdog(), 3s);
    EXPECT_FALSE(notify("/x", "3000000", "1").watchdog());
    EXPECT_FALSE(notify("/x", "3000000", own + "x").watchdog());
    EXPECT_FALSE(notify("/x", "0").watchdog());
    EXPECT_FALSE(notify("/x", "-1").watchdog());
    EXPECT_FALSE(notify("/x", "3s").watchdog());
    EXPECT_FALSE(notify("/x").watchdog());
}

TEST_P(WispdServiceNotify, AFailureIsLoggedOnceUntilTheManagerListensAgain) {
    const wispd_test::Captured_Log log;
    const std::string path = directory_.file("notify");
    Service_Notify notify = this->notify(path);
    notify.ready("up");
    notify.status("down");
    ASSERT_THAT(log.lines(), ElementsAre(HasSubstr("warning cannot notify the service manager at " + path)));
    {
        const Datagram_Socket manager(path);
        notify.status("up");
        EXPECT_TRUE(manager.receive());
    }
    notify.status("down");
    EXPECT_EQ(log.lines().size(), 2U);
}

TEST_P(WispdServiceNotify, ANameThatIsNoAddressIsReported) {
    const wispd_test::Captured_Log log;
    for (const std::string &name : {std::string("notify"), std::string("@"), "/" + std::string(200, 'x')}) {
        notify(name).ready("up");
    }
    EXPECT_EQ(log.lines().size(), 3U);
}

INSTANTIATE_TEST_SUITE_P(Senders, WispdServiceNotify, testing::ValuesIn(wispd::notify_senders()),
                         [](const auto &sender) { return std::string(sender.param.name); });

} // namespace
