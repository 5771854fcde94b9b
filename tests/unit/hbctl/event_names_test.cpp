// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tools/hbctl/event_names.h"

using namespace hbctl;

TEST(HbctlEventNames, EveryKindHasItsWord) {
    EXPECT_EQ(event_name(1), "death");
    EXPECT_EQ(event_name(2), "join");
    EXPECT_EQ(event_name(4), "new-group");
    EXPECT_EQ(event_name(8), "ffdc");
    EXPECT_EQ(event_name(32), "site-split");
    EXPECT_EQ(event_name(64), "site-merge");
    EXPECT_EQ(event_name(128), "configuration");
    EXPECT_EQ(event_name(256), "different-instance");
    EXPECT_EQ(event_name(512), "heartbeat");
    EXPECT_EQ(event_name(7), "event-7");
}

TEST(HbctlEventNames, OnlyWhatASubscriptionOfMembersCanAskForIsTaken) {
    EXPECT_EQ(event_of_name("death"), 1);
    EXPECT_EQ(event_of_name("join"), 2);
    EXPECT_EQ(event_of_name("new-group"), 4);
    EXPECT_EQ(event_of_name("heartbeat"), 512);
    EXPECT_EQ(event_of_name("ffdc"), std::nullopt);
    EXPECT_EQ(event_of_name("configuration"), std::nullopt);
    EXPECT_EQ(event_of_name("Death"), std::nullopt);
}

TEST(HbctlEventNames, StatesAndMembers) {
    EXPECT_EQ(liveness_name(Liveness::up), "up");
    EXPECT_EQ(liveness_name(Liveness::down), "down");
    EXPECT_EQ(liveness_name(Liveness::unknown), "unknown");
    EXPECT_EQ(member_kind_name(Member_Kind::nodes), "nodes");
    EXPECT_EQ(member_kind_name(Member_Kind::adapters), "adapters");
    EXPECT_EQ(member_kind_name(Member_Kind::instance), "instance");
    EXPECT_EQ(member_kind_name(Member_Kind::sites), "sites");
    EXPECT_EQ(member_kind_name(Member_Kind::none), "none");
}
