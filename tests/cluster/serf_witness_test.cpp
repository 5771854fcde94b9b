// SPDX-License-Identifier: Apache-2.0
// Tests the model of a daemon on Serf agents itself: it accepts exactly the events that a client must receive.
#include <gmock/gmock.h>

#include "tests/cluster/explanation.h"
#include "tests/cluster/serf_witness.h"

namespace hb_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Nodes 1 to 3 on two networks; this is node 1. All are up.
class SerfWitnessTest : public testing::Test {
  protected:
    SerfWitnessTest() : witness_(1, configuration(), 2) {
        agent(0, "10.0 agent 1=a,alive 2=b,alive 3=c,alive");
        agent(1, "10.0 agent 1=a,alive 2=b,leaving 3=c,alive");
        client({"11.0 connected 1", "11.0 configuration nodes 1 2 3 adapters 48=a 49=a 96=b 97=b 144=c 145=c",
                "11.0 event 1 account adapters 48@1 49@1 96@1 97@1 144@1 145@1",
                "11.0 event 2 account nodes 1 2 3"});
        patience_.grace = 10;
        patience_.late = 1;
        patience_.early = 0.5;
        patience_.unseen = 0.3;
        patience_.longest_retry = 2;
    }
    static Told_Configuration configuration() {
        Told_Configuration all;
        all.nodes = {1, 2, 3};
        all.addresses = {{48, "a"}, {49, "a"}, {96, "b"}, {97, "b"}, {144, "c"}, {145, "c"}};
        return all;
    }
    void agent(unsigned network, const std::string &line) { witness_.take(network, line); }
    void client(const std::vector<std::string> &lines) {
        for (const std::string &line : lines) {
            told_.push_back(told_by(line));
            table_.take(told_.back());
        }
    }
    std::vector<std::string> faults() { return explain(told_, witness_, patience_).faults; }

    Patience patience_;
    Serf_Witness witness_;
    std::vector<Told> told_;
    Told_Table table_{true};
};

TEST_F(SerfWitnessTest, NothingHappenedAndNothingWasReceived) {
    EXPECT_THAT(faults(), IsEmpty());
    EXPECT_TRUE(witness_.engine_runs());
    EXPECT_EQ(witness_.nodes(), (std::set<unsigned>{1, 2, 3}));
    EXPECT_EQ(witness_.adapters(), (std::set<unsigned>{48, 49, 96, 97, 144, 145}));
}

TEST_F(SerfWitnessTest, ANodeDiesWithItsLastAdapter) {
    agent(0, "20.0 member-failed 3=c,failed");
    agent(1, "22.0 member-failed 3=c,failed");
    client({"20.1 event 3 death adapters 144@1", "22.1 event 4 death adapters 145@1",
            "22.1 event 5 death nodes 3 id x"});
    EXPECT_THAT(faults(), IsEmpty());
    EXPECT_THAT(table_.objections(), IsEmpty());
    EXPECT_EQ(witness_.nodes(), (std::set<unsigned>{1, 2}));
}

TEST_F(SerfWitnessTest, ADeathThatTheClientDidNotReceiveIsAFault) {
    agent(0, "20.0 member-failed 3=c,failed");
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("adapter 144 ")));
}

TEST_F(SerfWitnessTest, ADeathWithoutAReportIsAFault) {
    client({"20.1 event 3 death adapters 144@1"});
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("adapter 144 ")));
}

TEST_F(SerfWitnessTest, ADeathOfTheNodeWhileAnAdapterIsUpIsAFault) {
    agent(0, "20.0 member-failed 3=c,failed");
    client({"20.1 event 3 death adapters 144@1", "20.1 event 4 death nodes 3 id x"});
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("node 3 ")));
}

TEST_F(SerfWitnessTest, ALeaveIsADeathWithoutAFailureIdentifier) {
    for (const unsigned network : {0U, 1U}) {
        agent(network, "20.0 member-leave 2=b,left");
    }
    client({"20.1 event 3 death adapters 96@1 97@1", "20.1 event 4 death nodes 2"});
    EXPECT_THAT(faults(), IsEmpty());
    EXPECT_THAT(table_.objections(), IsEmpty());
}

TEST_F(SerfWitnessTest, AReturnWithinTheGraceIsNoEvent) {
    agent(0, "20.0 gone");
    EXPECT_FALSE(witness_.engine_runs());
    agent(0, "21.0 agent 1=a,alive");
    agent(0, "22.0 member-join 2=b,alive 3=c,alive");
    EXPECT_THAT(faults(), IsEmpty());
}

TEST_F(SerfWitnessTest, TheGraceEndsForOneNetwork) {
    agent(0, "20.0 gone");
    client({"30.2 event 3 death adapters 48@1 96@1 144@1"});
    EXPECT_THAT(faults(), IsEmpty());
}

TEST_F(SerfWitnessTest, ADeathBeforeTheGraceEndsIsAFault) {
    agent(0, "20.0 gone");
    client({"21.0 event 3 death adapters 48@1 96@1 144@1"});
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("adapter 96 "), HasSubstr("adapter 144 ")));
}

TEST_F(SerfWitnessTest, ANodeMayDieBeforeTheDaemonFindsTheReturnedAgentThatReportsItAlive) {
    agent(0, "15.0 member-failed 3=c,failed");
    agent(0, "20.0 gone");
    agent(0, "21.0 agent 1=a,alive 2=b,alive 3=c,alive");
    agent(1, "21.2 member-failed 3=c,failed");
    client({"15.1 event 3 death adapters 144@1", "21.3 event 4 death adapters 145@1",
            "21.3 event 5 death nodes 3 id x", "21.8 event 6 join adapters 144@2",
            "21.8 event 7 join nodes 3"});
    EXPECT_THAT(faults(), IsEmpty());
}

TEST_F(SerfWitnessTest, TheOwnAdapterMayDieAtOnceWithAnAgentThatLeaves) {
    agent(0, "20.0 gone");
    client({"20.1 event 3 death adapters 48@1", "30.1 event 4 death adapters 96@1 144@1"});
    EXPECT_THAT(faults(), IsEmpty());
}

TEST_F(SerfWitnessTest, TheOwnAdapterDoesNotDieWithoutItsAgentsEnd) {
    client({"20.1 event 3 death adapters 48@1"});
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("adapter 48 ")));
}

TEST_F(SerfWitnessTest, TwoDeathsForOneReportAreAFault) {
    agent(0, "20.0 member-failed 3=c,failed");
    agent(0, "24.0 member-join 3=c,alive");
    client({"20.1 event 3 death adapters 144@1", "24.1 event 4 join adapters 144@2",
            "24.2 event 5 death adapters 144@2"});
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("adapter 144 ")));
}

} // namespace
} // namespace hb_test
