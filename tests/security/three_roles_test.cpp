// SPDX-License-Identifier: Apache-2.0
// An outsider has no access, a client connects and reads, an actor acts on the node, an administrator controls
// wispd.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/security/guarded_daemon.h"

namespace hb_test {
namespace {

using testing::HasSubstr;

class Three_Roles : public testing::Test {
  protected:
    void SetUp() override { HB_NEEDS_ROLES(); }

    void expect_may_not_control(Guarded_Daemon &guarded, Role role, const std::string &why) {
        const Ended ended = guarded.wispctl(role, {"node-down", "3"});
        EXPECT_EQ(ended.exit_status, 1) << testing::PrintToString(ended);
        EXPECT_THAT(ended.errors, HasSubstr(why));
        EXPECT_EQ(guarded.state_of_node(3), "up");
    }
};

TEST_F(Three_Roles, AnOutsiderCannotConnect) {
    Guarded_Daemon guarded;
    ASSERT_TRUE(guarded.start());
    const Ended ended = guarded.hbctl(Role::outsider, {"status"});
    EXPECT_EQ(ended.exit_status, 1);
    EXPECT_THAT(ended.errors, HasSubstr("permission denied"));
    EXPECT_TRUE(guarded.daemon().stop());
}

TEST_F(Three_Roles, AClientReadsAndDoesNotAct) {
    Guarded_Daemon guarded;
    ASSERT_TRUE(guarded.start());
    EXPECT_EQ(guarded.hbctl(Role::client, {"status"}).exit_status, 0);
    EXPECT_EQ(guarded.hbctl(Role::client, {"route", "3", "--shared"}).exit_status, 0);
    EXPECT_EQ(guarded.hbctl(Role::client, {"keys"}).exit_status, 0);
    const Ended unanswered =
        guarded.hbctl(Role::client, {"node-down", "3"}); // the daemon does not answer this request
    EXPECT_EQ(unanswered.exit_status, 1);
    EXPECT_THAT(unanswered.errors, HasSubstr("act_group (error 3)"));
    EXPECT_TRUE(guarded.daemon().wait_logged("requested node is down (node 3): rejected; only root, wispd's "
                                             "user and members of act_group can act on the node"));
    const Ended refused = guarded.hbctl(Role::client, {"unconfigure", "2"});
    EXPECT_EQ(refused.exit_status, 1);
    EXPECT_THAT(refused.errors, HasSubstr("act_group (error 3)"));
    EXPECT_EQ(guarded.state_of_node(3), "up");
    EXPECT_TRUE(guarded.daemon().stop());
}

TEST_F(Three_Roles, AnActorActs) {
    Guarded_Daemon guarded;
    ASSERT_TRUE(guarded.start());
    EXPECT_EQ(guarded.hbctl(Role::actor, {"unconfigure", "2"}).exit_status, 0);
    EXPECT_EQ(guarded.hbctl(Role::actor, {"node-down", "3"}).exit_status, 0);
    EXPECT_TRUE(wait_until([&] { return guarded.state_of_node(3) == "down"; }));
    EXPECT_TRUE(guarded.daemon().stop());
}

TEST_F(Three_Roles, OnlyAnAdministratorControls) {
    Guarded_Daemon guarded;
    ASSERT_TRUE(guarded.start());
    for (const Role role : {Role::outsider, Role::client, Role::actor}) {
        expect_may_not_control(guarded, role, ": run as root or as a member of wispd's control_group");
    }
    EXPECT_EQ(guarded.wispctl(Role::administrator, {"node-down", "3"}).exit_status, 0);
    EXPECT_EQ(guarded.state_of_node(3), "down");
    EXPECT_EQ(guarded.wispctl(Role::root, {"node-up", "3"}).exit_status, 0);
    EXPECT_TRUE(guarded.daemon().stop());
}

TEST_F(Three_Roles, WithoutTheKeysOnlyRootActsAndControls) {
    Guarded_Daemon guarded("group = \"" + std::to_string(CLIENT_GROUP) + "\"\n");
    ASSERT_TRUE(guarded.start());
    EXPECT_EQ(guarded.hbctl(Role::client, {"unconfigure", "2"}).exit_status, 1);
    EXPECT_EQ(guarded.hbctl(Role::actor, {"unconfigure", "2"}).exit_status, 1);
    for (const Role role : {Role::client, Role::actor, Role::administrator}) {
        expect_may_not_control(guarded, role, "permission denied");
    }
    EXPECT_EQ(guarded.hbctl(Role::root, {"unconfigure", "2"}).exit_status, 0);
    EXPECT_EQ(guarded.wispctl(Role::root, {"node-down", "3"}).exit_status, 0);
    EXPECT_TRUE(guarded.daemon().stop());
}

TEST_F(Three_Roles, TheControlSocketJudgesTheProcessAndNotTheModeAlone) {
    Guarded_Daemon guarded;
    ASSERT_TRUE(guarded.start());
    ASSERT_EQ(chmod(guarded.daemon().control().c_str(), 0666), 0);
    for (const Role role : {Role::outsider, Role::client, Role::actor}) {
        expect_may_not_control(guarded, role, "this user is not authorised to use the control socket");
        EXPECT_TRUE(guarded.daemon().wait_logged("uid " + std::to_string(user_of(role)) + " (pid "));
    }
    EXPECT_THAT(guarded.daemon().log(), HasSubstr("rejected by the control socket"));
    EXPECT_EQ(guarded.wispctl(Role::administrator, {"node-down", "3"}).exit_status, 0);
    EXPECT_TRUE(guarded.daemon().stop());
}

TEST_F(Three_Roles, ASocketForEverybodyLeavesTheSemaphoresToTheGroup) {
    Guarded_Daemon guarded(groups_of_roles() + "socket_mode = \"0666\"\nkey_mode = \"0644\"\n");
    ASSERT_TRUE(guarded.start());
    const Ended attack =
        guarded.programs().run(Role::outsider, {"hb_attack", "count-in", guarded.daemon().socket()});
    EXPECT_EQ(attack.exit_status, 1);
    EXPECT_EQ(attack.output, "cannot alter the semaphores: Permission denied\n");
    // The routes are read without the semaphores, and they are the newest.
    EXPECT_THAT(guarded.hbctl(Role::outsider, {"route", "3", "--shared"}).output, HasSubstr("10.1.0.3"));
    EXPECT_EQ(guarded.wispctl(Role::root, {"node-down", "3"}).exit_status, 0);
    EXPECT_TRUE(wait_until([&] { return guarded.state().at("routes_current") == true; }));
    EXPECT_EQ(guarded.hbctl(Role::outsider, {"route", "3", "--shared"}).exit_status, 1);
    EXPECT_EQ(guarded.wispctl(Role::root, {"node-up", "3"}).exit_status, 0);
    EXPECT_TRUE(wait_until([&] { return guarded.state().at("routes_current") == true; }));
    EXPECT_THAT(guarded.hbctl(Role::outsider, {"route", "3", "--shared"}).output, HasSubstr("10.1.0.3"));
    EXPECT_TRUE(guarded.daemon().stop());
}

} // namespace
} // namespace hb_test
