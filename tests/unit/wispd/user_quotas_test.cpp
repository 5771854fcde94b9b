// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "daemon/publisher/user_quotas.h"

namespace {

using wispd::User_Holding;
using wispd::User_Limits;
using wispd::User_Quotas;

constexpr uid_t OWN = 500;
constexpr uid_t GREEDY = 501;
constexpr uid_t OTHER = 502;

// 20 connections, 4 of which are not reserved.
constexpr User_Limits LIMITS{20, 3, 2, 1000};

class WispdUserQuotas : public testing::Test {
  protected:
    bool connect(uid_t user) {
        const bool may = quotas_.why_no_connection(user).empty();
        if (may) {
            quotas_.connected(user);
        }
        return may;
    }

    User_Quotas quotas_{LIMITS, OWN};
};

TEST_F(WispdUserQuotas, OneUserAtItsLimitLeavesConnectionsToOthers) {
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(connect(GREEDY)) << i;
    }
    EXPECT_EQ(quotas_.why_no_connection(GREEDY), "its user has 3 connections, the limit (user_connections)");
    EXPECT_TRUE(connect(OTHER));
    quotas_.disconnected(GREEDY, 0);
    EXPECT_TRUE(connect(GREEDY));
}

TEST_F(WispdUserQuotas, ReservedConnectionsAreForRootAndTheDaemonsUser) {
    for (const uid_t user : {501u, 502u, 503u, 504u}) {
        EXPECT_TRUE(connect(user));
    }
    EXPECT_EQ(quotas_.why_no_connection(505),
              "4 connections are open, max_connections = 20, and the rest is reserved for root");
    for (int i = 0; i < 8; ++i) {
        EXPECT_TRUE(connect(0));
        EXPECT_TRUE(connect(OWN));
    }
    EXPECT_EQ(quotas_.why_no_connection(0), "20 connections are open, max_connections = 20");
}

TEST_F(WispdUserQuotas, SubscriptionsOfAUserAreCountedTogether) {
    connect(GREEDY);
    connect(GREEDY);
    connect(OTHER);
    quotas_.subscribed(GREEDY);
    quotas_.subscribed(GREEDY);
    EXPECT_FALSE(quotas_.may_subscribe(GREEDY));
    EXPECT_TRUE(quotas_.may_subscribe(OTHER));
    quotas_.unsubscribed(GREEDY, 1);
    EXPECT_TRUE(quotas_.may_subscribe(GREEDY));
    quotas_.disconnected(GREEDY, 1);
    EXPECT_EQ(quotas_.held_by(GREEDY), (User_Holding{1, 0, 0}));
}

TEST_F(WispdUserQuotas, QueuedBytesOfAUserAreCountedTogether) {
    connect(GREEDY);
    connect(GREEDY);
    connect(OTHER);
    quotas_.queued(GREEDY, 0, 600);
    quotas_.queued(GREEDY, 0, 300);
    EXPECT_TRUE(quotas_.may_queue(GREEDY, 100));
    EXPECT_FALSE(quotas_.may_queue(GREEDY, 101));
    EXPECT_TRUE(quotas_.may_queue(OTHER, 1000));
    EXPECT_FALSE(quotas_.may_queue(OTHER, 1001));
    quotas_.queued(GREEDY, 600, 50);
    EXPECT_EQ(quotas_.held_by(GREEDY).queued_bytes, 350u);
    EXPECT_TRUE(quotas_.may_queue(GREEDY, 650));
}

TEST_F(WispdUserQuotas, RootAndTheDaemonsUserHaveNoLimitOfAUser) {
    for (const uid_t user : {uid_t{0}, OWN}) {
        for (int i = 0; i < 5; ++i) {
            EXPECT_TRUE(connect(user));
            quotas_.subscribed(user);
        }
        EXPECT_TRUE(quotas_.may_subscribe(user));
        EXPECT_TRUE(quotas_.may_queue(user, 100000));
    }
}

TEST_F(WispdUserQuotas, AUserWithoutConnectionsIsForgotten) {
    connect(GREEDY);
    quotas_.subscribed(GREEDY);
    EXPECT_EQ(quotas_.holdings().size(), 1u);
    quotas_.disconnected(GREEDY, 1);
    EXPECT_TRUE(quotas_.holdings().empty());
}

TEST_F(WispdUserQuotas, LowerLimitsTakeNothingAway) {
    for (int i = 0; i < 3; ++i) {
        connect(GREEDY);
    }
    quotas_.set({20, 1, 1, 1});
    EXPECT_EQ(quotas_.held_by(GREEDY).connections, 3u);
    EXPECT_FALSE(connect(GREEDY));
    quotas_.disconnected(GREEDY, 0);
    EXPECT_FALSE(connect(GREEDY));
}

} // namespace
