// SPDX-License-Identifier: Apache-2.0
// What may be in progress at the moment when a client leaves the daemon for the cluster service.
#include <gtest/gtest.h>

#include "tests/system/moving_client.h"

namespace hb_test {
namespace {

using Events = std::vector<std::string>;

const char *const NODE_3_DOWN = R"({"do":"node-down","node":3})";
const char *const NODE_3_UP = R"({"do":"node-up","node":3})";
const char *const NODE_4_LEAVES = R"({"do":"node-leave","node":4})";

class Moment_Of_The_Move : public testing::TestWithParam<Setup> {
  protected:
    Moment_Of_The_Move() { moving.take(2); }

    void tell_service(const std::string &json) { EXPECT_TRUE(moving.service_is_told(json)); }
    void tell_both(const std::string &json) {
        tell_service(json);
        EXPECT_TRUE(moving.daemon_is_told(json));
    }

    std::string order(const std::string &command) { return moving.client().ask(command); }
    void prepare() { EXPECT_EQ("prepared", order("prepare")); }
    void commit() { EXPECT_EQ("committed", order("commit")); }

    Moving_Client moving{GetParam()};
};

// ---- Unread events of the daemon ----

TEST_P(Moment_Of_The_Move, AnUnreadDeathIsReportedByTheCommit) {
    tell_both(NODE_3_DOWN);
    prepare();
    commit();
    EXPECT_EQ((Events{"death a 144 145", "death n 3", "configuration"}), moving.drain());
    EXPECT_TRUE(moving.daemon().wait_stopped());
    tell_service(NODE_3_UP);
    EXPECT_EQ((Events{"join n 3", "configuration", "join a 144 145"}), moving.drain());
}

TEST_P(Moment_Of_The_Move, ADeathOfWhichTheAdaptersWereReadIsReportedWithoutThem) {
    tell_both(NODE_3_DOWN);
    EXPECT_EQ((Events{"death a 144 145"}), moving.take(1));
    prepare();
    commit();
    EXPECT_EQ((Events{"death n 3", "configuration"}), moving.drain());
    tell_service(NODE_3_UP);
    EXPECT_EQ((Events{"join n 3", "configuration", "join a 144 145"}), moving.drain());
}

TEST_P(Moment_Of_The_Move, AnUnreadReturnIsReportedByTheCommit) {
    tell_both(NODE_3_DOWN);
    EXPECT_EQ((Events{"death a 144 145", "death n 3"}), moving.take(2));
    tell_both(NODE_3_UP);
    prepare();
    commit();
    EXPECT_EQ((Events{"configuration", "join n 3", "join a 144 145"}), moving.drain());
    tell_service(NODE_3_DOWN);
    EXPECT_EQ((Events{"death a 144 145", "death n 3", "configuration"}), moving.drain());
}

TEST_P(Moment_Of_The_Move, AnUnreadConfigurationHasToBeReadFirst) {
    tell_both(NODE_4_LEAVES);
    EXPECT_EQ("failed prepare 75", order("prepare"));
    EXPECT_EQ((Events{"death a 192 193", "death n 4", "configuration"}), moving.take(3));
    prepare();
    commit();
    EXPECT_EQ((Events{"configuration"}), moving.drain());
}

// More than the connection can hold, so that the daemon is still writing when the client leaves.
TEST_P(Moment_Of_The_Move, TheDaemonEndsAlsoWhenItCouldNotTellEverything) {
    for (int times = 0; times < 2000; ++times) {
        ASSERT_TRUE(moving.daemon_is_told(NODE_3_DOWN));
        ASSERT_TRUE(moving.daemon_is_told(NODE_3_UP));
    }
    prepare();
    commit();
    EXPECT_TRUE(moving.daemon().wait_stopped());
    EXPECT_EQ((Events{"configuration"}), moving.drain());
}

TEST_P(Moment_Of_The_Move, AClientThatHasReadTheEndOfItsDaemonMoves) {
    moving.daemon().kill();
    moving.client().order("drain");
    EXPECT_EQ((Events{"failed event 16", "quiet"}), moving.client().lines(2));
    prepare();
    commit();
    tell_service(NODE_3_DOWN);
    EXPECT_EQ((Events{"configuration", "death a 144 145", "death n 3", "configuration"}), moving.drain());
}

// ---- Events of the service between preparation and commit ----

TEST_P(Moment_Of_The_Move, ADeathSinceThePreparationIsToldOnce) {
    prepare();
    tell_service(NODE_3_DOWN);
    tell_service(R"({"do":"adapter-down","adapter":289})");
    commit();
    EXPECT_EQ((Events{"death a 144 145 289", "death n 3", "configuration"}), moving.drain());
}

TEST_P(Moment_Of_The_Move, ANodeThatHasLeftSinceThePreparationIsTold) {
    prepare();
    tell_service(NODE_4_LEAVES);
    commit();
    EXPECT_EQ((Events{"death a 192 193", "death n 4", "configuration"}), moving.drain());
    tell_service(R"({"do":"node-join","node":4})");
    EXPECT_EQ((Events{"configuration", "join n 4", "join a 192 193"}), moving.drain());
}

TEST_P(Moment_Of_The_Move, AddressesThatWereExchangedSinceThePreparationAreTold) {
    prepare();
    tell_service(R"({"do":"swap-adapters","adapter":48,"address":"10.1.0.1"})");
    commit();
    // Then come the service's own four events: each adapter lost an address and received one.
    EXPECT_EQ((Events{"death a 48 49", "configuration", "join a 48 49", "configuration", "configuration",
                      "configuration", "configuration"}),
              moving.drain());
}

// ---- Events queued in the library ----

TEST_P(Moment_Of_The_Move, AnEventThatTellsNothingDoesNotHoldUpThoseBehindIt) {
    prepare();
    commit();
    EXPECT_EQ((Events{"configuration"}), moving.drain());
    EXPECT_EQ("done", order("heard-from 3"));
    EXPECT_EQ("done", order("heard-from 4"));
    prepare();
    tell_service(NODE_4_LEAVES);
    commit();
    moving.client().order("drain");
    EXPECT_EQ((Events{"event 0 kind-0 <EMPTY EVENT>", "event 0 kind-0 <EMPTY EVENT>",
                      "event 0 death a adapters 192@0 193@0", "event 0 death n nodes 4",
                      "event 0 configuration Hb_Config_Group"}),
              moving.client().lines(5));
}

TEST_P(Moment_Of_The_Move, AMessageBeforeTheCommitQueuesNothing) {
    prepare();
    EXPECT_EQ("done", order("heard-from 3"));
    commit();
    moving.client().order("drain");
    EXPECT_EQ((Events{"event 0 configuration Hb_Config_Group", "quiet"}), moving.client().lines(2));
}

TEST_P(Moment_Of_The_Move, EventsOfTheCommitOutliveTheDaemon) {
    prepare();
    tell_service(NODE_3_DOWN);
    commit();
    EXPECT_TRUE(moving.daemon().wait_stopped());
    EXPECT_EQ((Events{"death a 144 145"}), moving.take(1));
    tell_service(NODE_3_UP);
    EXPECT_EQ((Events{"death n 3", "configuration", "join n 3", "configuration", "join a 144 145"}),
              moving.drain());
}

TEST_P(Moment_Of_The_Move, AClientEndsWellWithEventsThatNobodyReads) {
    tell_both(NODE_3_DOWN);
    prepare();
    tell_service(NODE_4_LEAVES);
    commit();
    tell_service(NODE_3_UP);
    EXPECT_TRUE(moving.client().end());
}

SYSTEM_TESTS(Moment_Of_The_Move);

} // namespace
} // namespace hb_test
