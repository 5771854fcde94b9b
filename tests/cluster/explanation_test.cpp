// SPDX-License-Identifier: Apache-2.0
// Tests the model itself: it accepts exactly the events that a client must receive.
#include <gmock/gmock.h>

#include "tests/cluster/explanation.h"
#include "tests/cluster/witness.h"

namespace hb_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Nodes 1 to 3 with one link; this is node 1. All are up.
const std::vector<std::string> ENGINE_AT_10 = {
    "10.0 engine 1",      "10.0 configuration 1,a,10.0.0.1 2,b,10.0.0.2 3,c,10.0.0.3",
    "10.0 link 2 0 1 0",  "10.0 link 3 0 1 0",
    "10.0 interface 0 1", "10.0 members 1 2 3 joined 1 2 3 left",
    "10.0 ready",
};
const std::vector<std::string> CLIENT_AT_11 = {
    "11.0 connected 1",
    "11.0 configuration nodes 1 2 3 adapters 48=10.0.0.1 96=10.0.0.2 144=10.0.0.3",
    "11.0 event 1 account adapters 48@1 96@1 144@1",
    "11.0 event 2 account nodes 1 2 3",
};

class ExplanationTest : public testing::Test {
  protected:
    ExplanationTest() {
        engine(ENGINE_AT_10);
        client(CLIENT_AT_11);
        patience_.grace = 10;
        patience_.late = 1;
        patience_.early = 0.5;
        patience_.unseen = 0.3;
        patience_.longest_retry = 2;
    }
    void engine(const std::vector<std::string> &lines) {
        for (const std::string &line : lines) {
            witness_.take(line);
        }
    }
    void client(const std::vector<std::string> &lines) {
        for (const std::string &line : lines) {
            told_.push_back(told_by(line));
            table_.take(told_.back());
        }
    }
    std::vector<std::string> faults() { return explain(told_, witness_, patience_).faults; }
    const std::vector<std::string> &objections() { return table_.objections(); }

    Patience patience_;
    Witness witness_;
    std::vector<Told> told_;
    Told_Table table_;
};

TEST_F(ExplanationTest, NothingHappenedAndNothingWasTold) {
    EXPECT_THAT(faults(), IsEmpty());
    EXPECT_THAT(objections(), IsEmpty());
}

TEST_F(ExplanationTest, ADeathAndAReturnHaveTheirReasonsAndTheirDelays) {
    engine({"20.0 link 3 0 0 1", "22.0 members 1 2 joined left 3", "30.0 members 1 2 3 joined 3 left",
            "30.5 link 3 0 1 1"});
    client({"20.1 event 3 death adapters 144@1", "22.001 event 4 death nodes 3 id x",
            "30.003 event 5 join nodes 3", "30.6 event 6 join adapters 144@2"});
    const Explanation explanation = explain(told_, witness_, patience_);
    EXPECT_THAT(explanation.faults, IsEmpty());
    EXPECT_THAT(objections(), IsEmpty());
    EXPECT_EQ(explanation.explained, 4U);
    EXPECT_THAT(explanation.delays.at("node death"), ElementsAre(testing::DoubleNear(0.001, 1e-6)));
    EXPECT_THAT(explanation.delays.at("adapter join"), ElementsAre(testing::DoubleNear(0.1, 1e-6)));
}

TEST_F(ExplanationTest, ADeathThatWasNotToldIsMissed) {
    engine({"20.0 link 3 0 0 1", "22.0 members 1 2 joined left 3"});
    client({"20.1 event 3 death adapters 144@1"});
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("node 3 was told as up")));
}

TEST_F(ExplanationTest, ADeathWithoutAReasonIsNotAccepted) {
    client({"20.1 event 3 death adapters 96@1"});
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("adapter 96 was told as up")));
}

TEST_F(ExplanationTest, ADeathThatCameFarTooLateHasNoReason) {
    engine({"20.0 link 3 0 0 1"});
    client({"23.0 event 3 death adapters 144@1"});
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("adapter 144")));
}

TEST_F(ExplanationTest, ALinkThatWentAndCameBackBetweenTwoLooksHasToBeTold) {
    engine({"20.0 link 2 0 1 1"});
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("adapter 96")));
    client({"20.1 event 3 death adapters 96@1", "20.1 event 4 join adapters 96@2"});
    EXPECT_THAT(faults(), IsEmpty());
}

TEST_F(ExplanationTest, ANodeThatLeftAndJoinedInOneCallbackHasToBeToldWithItsAdapters) {
    engine({"20.0 members 1 2 3 joined 3 left 3"});
    client({"20.1 event 3 death nodes 3 id x", "20.1 event 4 join nodes 3"});
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("adapter 144")));
}

TEST_F(ExplanationTest, ALinkThatWasUpForAMomentNeedNotHaveBeenSeen) {
    engine({"20.0 link 2 0 0 1", "25.0 link 2 0 1 1", "25.1 link 2 0 0 2", "28.0 link 2 0 1 2"});
    client({"20.1 event 3 death adapters 96@1", "28.1 event 4 join adapters 96@2"});
    const Explanation explanation = explain(told_, witness_, patience_);
    EXPECT_THAT(explanation.faults, IsEmpty());
    EXPECT_EQ(explanation.passed_over, 1U);
}

TEST_F(ExplanationTest, TheLocalNodesAdapterFollowsItsInterface) {
    engine({"20.0 interface 0 0", "25.0 interface 0 1"});
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("adapter 48")));
    client({"20.1 event 3 death adapters 48@1", "25.1 event 4 join adapters 48@2"});
    EXPECT_THAT(faults(), IsEmpty());
}

// ---- Without an engine ----

const std::vector<std::string> ENGINE_BACK_AT_25 = {
    "25.0 engine 1",
    "25.0 configuration 1,a,10.0.0.1 2,b,10.0.0.2 3,c,10.0.0.3",
    "25.0 link 2 0 0 0",
    "25.0 link 3 0 0 0",
    "25.0 members 1 joined 1 left",
    "25.0 ready",
};

TEST_F(ExplanationTest, AnEngineThatIsBackWithinTheGraceIsNoReasonForAnything) {
    engine({"20.0 gone"});
    engine(ENGINE_BACK_AT_25);
    engine({"26.0 link 2 0 1 0", "26.0 link 3 0 1 0", "26.5 members 1 2 3 joined 2 3 left"});
    EXPECT_THAT(faults(), IsEmpty());
    client({"20.1 event 3 death nodes 2 3 id x", "26.5 event 4 join nodes 2 3"});
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("node 2"), HasSubstr("node 3")));
}

TEST_F(ExplanationTest, AfterTheGraceTheOthersAreDead) {
    engine({"20.0 gone"});
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("node 2"), HasSubstr("node 3"), HasSubstr("adapter 96"),
                                      HasSubstr("adapter 144")));
    client({"30.0 event 3 death adapters 96@1 144@1", "30.0 event 4 death nodes 2 3 id x"});
    EXPECT_THAT(faults(), IsEmpty());
}

TEST_F(ExplanationTest, WhoIsNotSeenAgainIsDeadAfterTheGraceAndNobodyElse) {
    engine({"20.0 gone"});
    engine(ENGINE_BACK_AT_25);
    engine({"26.0 link 2 0 1 0", "26.5 members 1 2 joined 2 left"});
    client({"30.0 event 3 death adapters 144@1", "30.0 event 4 death nodes 3 id x"});
    EXPECT_THAT(faults(), IsEmpty());
}

TEST_F(ExplanationTest, WhatWasOverBeforeTheEngineWasFoundAgainNeedNotBeTold) {
    engine({"20.0 gone"});
    engine(ENGINE_BACK_AT_25);
    engine({"25.1 link 2 0 1 0", "25.1 members 1 2 3 joined 2 3 left", "25.2 link 3 0 1 0", "26.0 link 2 0 0 1",
            "26.5 link 2 0 1 1"});
    EXPECT_THAT(faults(), IsEmpty());
    client({"26.1 event 3 death adapters 96@1", "26.6 event 4 join adapters 96@2"});
    EXPECT_THAT(faults(), IsEmpty());
}

TEST_F(ExplanationTest, AnEngineThatEndedBeforeItWasFoundWasNeverThere) {
    engine({"20.0 gone"});
    client({"30.0 event 3 death adapters 96@1 144@1", "30.0 event 4 death nodes 2 3 id x"});
    engine({"35.0 engine 1", "35.0 configuration 1,a,10.0.0.1 2,b,10.0.0.2", "35.0 link 2 0 1 0",
            "35.0 members 1 2 joined 1 2 left", "35.0 ready", "36.0 gone", "50.0 engine 1",
            "50.0 configuration 1,a,10.0.0.1 2,b,10.0.0.2", "50.0 link 2 0 1 0",
            "50.0 members 1 2 joined 1 2 left", "50.0 ready"});
    client({"51.0 event 5 configuration nodes 1 2 adapters 48=10.0.0.1 96=10.0.0.2",
            "51.0 event 6 join adapters 96@2", "51.0 event 7 join nodes 2"});
    EXPECT_THAT(faults(), IsEmpty());
}

TEST_F(ExplanationTest, AnEngineThatWasThereForLongWasFound) {
    engine({"20.0 gone"});
    client({"30.0 event 3 death adapters 96@1 144@1", "30.0 event 4 death nodes 2 3 id x"});
    engine({"35.0 engine 1", "35.0 configuration 1,a,10.0.0.1 2,b,10.0.0.2 3,c,10.0.0.3", "35.0 link 2 0 1 0",
            "35.0 members 1 2 joined 1 2 left", "35.0 ready", "39.0 gone"});
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("node 2"), HasSubstr("adapter 96")));
}

TEST_F(ExplanationTest, ALinkThatWentRightBeforeTheEngineMayBeHeldForUp) {
    engine({"19.9 link 2 0 0 1", "20.0 gone"});
    engine(ENGINE_BACK_AT_25);
    engine({"26.0 link 2 0 1 0", "26.0 link 3 0 1 0", "26.5 members 1 2 3 joined 2 3 left"});
    EXPECT_THAT(faults(), IsEmpty());
    client({"19.95 event 3 death adapters 96@1", "26.1 event 4 join adapters 96@2"});
    EXPECT_THAT(faults(), IsEmpty());
}

TEST_F(ExplanationTest, ALinkThatCameRightBeforeTheEngineWentMayNotBeKnown) {
    engine({"15.0 link 2 0 0 1", "19.9 link 2 0 1 1", "20.0 gone"});
    engine(ENGINE_BACK_AT_25);
    engine({"28.0 link 2 0 1 0", "26.0 link 3 0 1 0", "26.5 members 1 2 3 joined 2 3 left"});
    client({"15.1 event 3 death adapters 96@1", "28.1 event 4 join adapters 96@2"});
    EXPECT_THAT(faults(), IsEmpty());
}

TEST_F(ExplanationTest, ALinkThatWentLongBeforeTheEngineWasTold) {
    engine({"18.0 link 2 0 0 1", "20.0 gone"});
    engine(ENGINE_BACK_AT_25);
    engine({"26.0 link 2 0 1 0", "26.0 link 3 0 1 0", "26.5 members 1 2 3 joined 2 3 left"});
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("adapter 96")));
}

// ---- Configurations ----

TEST_F(ExplanationTest, EachReloadIsOneUpdate) {
    const std::string update = " configuration nodes 1 2 adapters 48=10.0.0.1 96=10.0.0.2";
    engine({"20.0 link 3 0 0 1", "20.0 members 1 2 joined left 3",
            "25.0 configuration 1,a,10.0.0.1 2,b,10.0.0.2"});
    client({"20.1 event 3 death adapters 144@1", "20.1 event 4 death nodes 3 id x"});
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("configurations do not match")));
    client({"25.1 event 5" + update});
    EXPECT_THAT(faults(), IsEmpty());
    client({"25.2 event 6" + update});
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("configurations do not match")));
}

TEST_F(ExplanationTest, AReloadWithoutTheLocalNodeIsNone) {
    engine({"20.0 configuration 2,b,10.0.0.2 3,c,10.0.0.3"});
    EXPECT_THAT(faults(), IsEmpty());
}

TEST_F(ExplanationTest, ARefusedReloadIsNone) {
    engine({"20.0 reload refused"});
    EXPECT_THAT(faults(), IsEmpty());
    EXPECT_EQ(witness_.refused_reloads(), 1U);
}

// ---- Connections ----

TEST_F(ExplanationTest, WhatIsUnderWayWhenTheDaemonEndsNeedNotArrive) {
    engine({"20.0 link 3 0 0 1"});
    client({"20.1 lost 16", "21.0 connected 1",
            "21.0 configuration nodes 1 2 3 adapters 48=10.0.0.1 96=10.0.0.2 144=10.0.0.3",
            "21.0 event 1 account adapters 48@1 96@1", "21.0 event 2 account nodes 1 2 3"});
    EXPECT_THAT(faults(), IsEmpty());
    EXPECT_THAT(objections(), IsEmpty());
}

TEST_F(ExplanationTest, AnAccountHasToBeTheEngines) {
    client({"20.1 lost 16", "21.0 connected 1",
            "21.0 configuration nodes 1 2 3 adapters 48=10.0.0.1 96=10.0.0.2 144=10.0.0.3",
            "21.0 event 1 account adapters 48@1 96@1", "21.0 event 2 account nodes 1 2 3"});
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("adapter 144 was told as down")));
}

// ---- Events that must never arrive ----

TEST_F(ExplanationTest, NobodyDiesTwice) {
    client({"20.0 event 3 death adapters 144@1", "21.0 event 4 death adapters 144@1"});
    EXPECT_THAT(objections(), ElementsAre(HasSubstr("death of adapter 144, which was not up")));
}

TEST_F(ExplanationTest, NobodyJoinsWithoutADeath) {
    client({"20.0 event 3 join nodes 3"});
    EXPECT_THAT(objections(), ElementsAre(HasSubstr("join of node 3, which was up")));
}

TEST_F(ExplanationTest, NoEventIsMissing) {
    client({"20.0 event 4 death adapters 144@1"});
    EXPECT_THAT(objections(), ElementsAre(HasSubstr("the event after number 2")));
}

TEST_F(ExplanationTest, ANodesDeathHasAnIdentifierOfItsOwn) {
    client({"20.0 event 3 death adapters 96@1 144@1", "20.0 event 4 death nodes 2"});
    EXPECT_THAT(objections(), ElementsAre(HasSubstr("a death without a failure identifier")));
    client({"21.0 event 5 join nodes 2", "22.0 event 6 death nodes 2 id x", "22.0 event 7 death nodes 3 id x"});
    EXPECT_THAT(objections(), ElementsAre(testing::_, HasSubstr("the failure identifier of another death")));
}

TEST_F(ExplanationTest, WhoJoinsAgainHasAGreaterIncarnation) {
    client({"20.0 event 3 death adapters 144@1", "20.0 event 4 join adapters 144@1"});
    EXPECT_THAT(objections(), ElementsAre(HasSubstr("an incarnation that is not above 1")));
}

TEST_F(ExplanationTest, NoAdapterIsUpOnADeadNode) {
    client({"20.0 event 3 death nodes 3 id x"});
    EXPECT_THAT(objections(), ElementsAre(HasSubstr("adapter 144 is up and its node is not")));
}

TEST_F(ExplanationTest, WhoIsRemovedFromTheConfigurationDiesBefore) {
    client({"20.0 event 3 configuration nodes 1 2 adapters 48=10.0.0.1 96=10.0.0.2"});
    EXPECT_THAT(objections(), ElementsAre(HasSubstr("adapter 144 is up and not configured"),
                                          HasSubstr("node 3 is up and not configured")));
}

TEST_F(ExplanationTest, WhoDiedAsRemovedIsNoMoreInTheConfiguration) {
    client({"20.0 event 3 death adapters 144@1-removed",
            "20.0 event 4 configuration nodes 1 2 3 adapters 48=10.0.0.1 96=10.0.0.2 144=10.0.0.3"});
    EXPECT_THAT(objections(), ElementsAre(HasSubstr("adapter 144 died as removed")));
}

} // namespace
} // namespace hb_test
