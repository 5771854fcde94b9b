// SPDX-License-Identifier: Apache-2.0
// Client requests for the local node. The test controls the time.
#include <arpa/inet.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cluster/node_control.h"
#include "tests/unit/wispd/bytes_by_hand.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using wispd::Adapter_Member;
using wispd::Changes;
using wispd::Cluster;
using wispd::Node_Control;
using wispd::Node_Request;
using wispd::Outcome;
using wispd::Time;
using wispd_test::three_nodes;

using Members = std::vector<Adapter_Member>;

// Node 1 is the local node, with adapters 2 and 3 in networks 0 and 1.
class WispdNodeControl : public testing::Test {
  protected:
    Outcome ask(int kind, int64_t number, const char *address = "0.0.0.0", int32_t seconds = 0,
                const char *interface = "") {
        Node_Request request;
        request.kind = static_cast<Hb_Client_Request>(kind);
        request.number = number;
        inet_pton(AF_INET, address, &request.address);
        request.seconds = seconds;
        request.interface = interface;
        Outcome outcome = control_.act(request, now_);
        control_.heed(outcome.changes);
        return outcome;
    }

    std::string address_of(std::size_t adapter) {
        return wispd::address_text(cluster_.adapters()[adapter].address);
    }
    bool up(std::size_t adapter) { return cluster_.adapters()[adapter].up; }

    Time now_{1000s};
    Cluster cluster_{three_nodes()};
    Node_Control control_{cluster_, {2s, 60}};
};

// ---- Suspicions ----

TEST_F(WispdNodeControl, ReportedDeathIsADeath) {
    EXPECT_THAT(ask(204, 3).changes.node_deaths, ElementsAre(3));
    EXPECT_EQ(ask(206, 4).changes.adapter_deaths, (Members{{4, 1}}));
}

TEST_F(WispdNodeControl, ReportsOfWhoIsDownOrUnknownChangeNothing) {
    ask(204, 3);
    for (const auto &[kind, number] : {std::pair{204, 3},
                                       {203, 3},
                                       {206, 6},
                                       {205, 6},
                                       {204, 7},
                                       {203, 7},
                                       {206, 15},
                                       {205, 15},
                                       {204, 98351},
                                       {203, 98351},
                                       {206, 98351},
                                       {205, 98351},
                                       {203, 1},
                                       {204, 1}}) {
        const Outcome outcome = ask(kind, number);
        EXPECT_NE(outcome.status, 0) << kind << " " << number;
        EXPECT_FALSE(outcome.changes.any()) << kind << " " << number;
    }
    EXPECT_FALSE(control_.next_due().has_value());
}

TEST_F(WispdNodeControl, SuspicionBecomesADeathWhenItIsDue) {
    EXPECT_FALSE(ask(203, 3).changes.any());
    now_ += 1s;
    EXPECT_FALSE(ask(205, 4).changes.any());
    EXPECT_EQ(control_.next_due(), Time(1002s));
    EXPECT_FALSE(control_.confirm_due(Time(1001999ms)).changes.any());
    const Changes node = control_.confirm_due(Time(1002s)).changes;
    EXPECT_THAT(node.node_deaths, ElementsAre(3));
    EXPECT_EQ(node.adapter_deaths, (Members{{6, 1}, {7, 1}}));
    EXPECT_EQ(control_.next_due(), Time(1003s));
    EXPECT_EQ(control_.confirm_due(Time(1003s)).changes.adapter_deaths, (Members{{4, 1}}));
    EXPECT_FALSE(control_.next_due().has_value());
}

TEST_F(WispdNodeControl, SuspicionsThatAreDueTogetherAreOneChange) {
    ask(205, 7);
    ask(205, 6);
    ask(203, 2);
    ask(203, 3);
    const Changes changes = control_.confirm_due(now_ + 2s).changes;
    EXPECT_EQ(changes.adapter_deaths, (Members{{4, 1}, {5, 1}, {6, 1}, {7, 1}}));
    EXPECT_THAT(changes.node_deaths, ElementsAre(2, 3));
}

TEST_F(WispdNodeControl, RepeatedSuspicionDoesNotPutOffTheFirst) {
    ask(203, 3);
    now_ += 1s;
    ask(203, 3);
    EXPECT_EQ(control_.next_due(), Time(1002s));
}

TEST_F(WispdNodeControl, SignOfLifeEndsASuspicion) {
    ask(205, 6);
    ask(203, 2);
    cluster_.adapter_down(6);
    control_.heed(cluster_.adapter_up(6));
    cluster_.adapter_down(4);
    control_.heed(cluster_.adapter_up(4)); // an adapter of node 2
    EXPECT_FALSE(control_.next_due().has_value());
    ask(205, 6);
    EXPECT_TRUE(control_.clear_adapter(6));
    ask(203, 3);
    ask(205, 7);
    EXPECT_TRUE(control_.clear_node(3));
    EXPECT_FALSE(control_.next_due().has_value());
    EXPECT_FALSE(control_.clear_node(3));
}

TEST_F(WispdNodeControl, EnablingOrRaisingAnAdapterEndsItsSuspicion) {
    ask(205, 2);
    ask(207, 0);
    EXPECT_FALSE(control_.next_due().has_value());
    ask(205, 3);
    ask(213, 1);
    EXPECT_FALSE(control_.next_due().has_value());
}

TEST_F(WispdNodeControl, SuspectsThatDieOrLeaveAreSuspectsNoMore) {
    ask(205, 6);
    ask(203, 2);
    control_.heed(cluster_.adapter_leave(6));
    control_.heed(cluster_.node_down(2));
    EXPECT_FALSE(control_.next_due().has_value());
}

TEST_F(WispdNodeControl, SuspicionsDoNotOutliveTheirNumbering) {
    ask(205, 7);
    wispd::Configuration wider = three_nodes();
    wider.adapters_per_node = 3;
    control_.heed(cluster_.reconfigure(wider));
    EXPECT_FALSE(control_.next_due().has_value());
}

TEST_F(WispdNodeControl, SuspicionsAndGraceOutliveAReloadThatKeepsTheirMembers) {
    ask(203, 3);
    ask(205, 4);
    ask(216, 0, "0.0.0.0", 60);
    control_.set({10s, 5});
    control_.heed(cluster_.reconfigure(three_nodes()));
    EXPECT_EQ(control_.next_due(), Time(1002s));
    EXPECT_TRUE(control_.suspicions().in_grace(2, now_));
    const Changes changes = control_.confirm_due(Time(1002s)).changes;
    EXPECT_EQ(changes.adapter_deaths, (Members{{4, 1}, {6, 1}, {7, 1}}));
    EXPECT_THAT(changes.node_deaths, ElementsAre(3));
    ask(205, 5); // uses the new settings
    EXPECT_EQ(control_.next_due(), Time(1010s));
    EXPECT_EQ(ask(216, 1, "0.0.0.0", 6).status, 7);
}

TEST_F(WispdNodeControl, SuspicionsAndGraceEndWithMembersThatAReloadTakesAway) {
    ask(203, 3);
    ask(205, 5);
    ask(216, 0, "0.0.0.0", 60);
    wispd::Configuration smaller = three_nodes();
    smaller.nodes.pop_back();
    smaller.nodes[1].adapters.pop_back();
    smaller.nodes[0].adapters.erase(smaller.nodes[0].adapters.begin());
    control_.heed(cluster_.reconfigure(smaller));
    EXPECT_FALSE(control_.next_due().has_value());
    EXPECT_FALSE(control_.suspicions().in_grace(2, now_));
    control_.heed(cluster_.reconfigure(three_nodes()));
    EXPECT_FALSE(control_.next_due().has_value());
    EXPECT_EQ(ask(205, 2).status, 0);
}

// ---- Grace ----

TEST_F(WispdNodeControl, GraceKeepsSuspicionsAway) {
    ask(205, 2);
    EXPECT_EQ(ask(216, 0, "0.0.0.0", 5).status, 0);
    EXPECT_FALSE(control_.next_due().has_value());
    now_ += 4999ms;
    ask(205, 2);
    EXPECT_FALSE(control_.next_due().has_value());
    now_ += 1ms;
    ask(205, 2);
    EXPECT_EQ(control_.next_due(), Time(1007s));
}

TEST_F(WispdNodeControl, GraceIsRefusedByItsReason) {
    EXPECT_EQ(ask(216, 0, "0.0.0.0", -1).status, 7);
    EXPECT_EQ(ask(216, 0, "0.0.0.0", 61).status, 7);
    EXPECT_EQ(ask(216, 5, "0.0.0.0", 1).status, 1);
    EXPECT_EQ(ask(216, -1, "0.0.0.0", 1).status, 1);
    EXPECT_EQ(ask(216, 0, "0.0.0.0", 60).status, 0);
    EXPECT_EQ(ask(216, 0, "0.0.0.0", 1).status, 9);
    ask(206, 3);
    EXPECT_EQ(ask(216, 1, "0.0.0.0", 1).status, 8);
}

TEST_F(WispdNodeControl, GraceEndsWithTheAdaptersLife) {
    ask(216, 0, "0.0.0.0", 60);
    EXPECT_EQ(ask(206, 2).changes.adapter_deaths, (Members{{2, 1}}));
    control_.heed(cluster_.adapter_up(2));
    EXPECT_EQ(ask(216, 0, "0.0.0.0", 1).status, 0);
}

// ---- Up and down ----

TEST_F(WispdNodeControl, DisabledAdapterIsDownUntilItIsEnabled) {
    EXPECT_EQ(ask(208, 0).changes.adapter_deaths, (Members{{2, 1}}));
    EXPECT_FALSE(ask(208, 0).changes.any());
    EXPECT_FALSE(ask(213, 0).changes.any());
    EXPECT_FALSE(up(2));
    EXPECT_EQ(ask(207, 0).changes.adapter_joins, (Members{{2, 2}}));
    EXPECT_FALSE(ask(207, 0).changes.any());
}

TEST_F(WispdNodeControl, InterfaceThatIsDownTakesItsAdapterDown) {
    EXPECT_EQ(ask(212, 1).changes.adapter_deaths, (Members{{3, 1}}));
    EXPECT_FALSE(ask(207, 1).changes.any());
    EXPECT_EQ(ask(213, 1).changes.adapter_joins, (Members{{3, 2}}));
}

TEST_F(WispdNodeControl, LocalNodeLivesOnWithoutItsAdapters) {
    EXPECT_THAT(ask(208, 0).changes.node_deaths, IsEmpty());
    EXPECT_THAT(ask(208, 1).changes.node_deaths, IsEmpty());
    EXPECT_TRUE(cluster_.nodes()[1].up);
}

TEST_F(WispdNodeControl, StateOfAnAdapterIsTold) {
    EXPECT_EQ(ask(223, 0).word, 1);
    ask(208, 0);
    const Outcome outcome = ask(223, 0);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.word, 2);
}

TEST_F(WispdNodeControl, NetworkWithoutALocalAdapterIsNotConfigured) {
    for (int kind : {207, 208, 212, 213, 214, 215, 218, 223}) {
        for (int network : {2, -1, 32767}) {
            EXPECT_EQ(ask(kind, network, "10.1.0.1").status, 4) << kind;
        }
    }
    cluster_.adapter_leave(3);
    EXPECT_EQ(ask(223, 1).status, 4);
}

// ---- Addresses ----

TEST_F(WispdNodeControl, ConfiguringGivesAnAddressAndTellsIt) {
    const Outcome outcome = ask(214, 0, "10.1.0.99");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(outcome.changes.configuration_updated);
    EXPECT_FALSE(outcome.changes.changes_membership());
    EXPECT_EQ(address_of(2), "10.1.0.99");
    EXPECT_FALSE(ask(214, 0, "10.1.0.99").changes.any());
}

TEST_F(WispdNodeControl, AddressOfAnotherAdapterIsInUse) {
    EXPECT_EQ(ask(214, 0, "10.1.0.3").status, 5);
    EXPECT_EQ(ask(214, 0, "10.2.0.1").status, 5);
    cluster_.node_leave(3);
    EXPECT_EQ(ask(214, 0, "10.1.0.3").status, 0);
}

TEST_F(WispdNodeControl, AddressThatNoInterfaceHasIsUnfit) {
    for (const char *address :
         {"0.0.0.0", "0.1.2.3", "127.0.0.1", "224.0.0.1", "240.0.0.1", "255.255.255.255"}) {
        EXPECT_EQ(ask(214, 0, address).status, 6) << address;
    }
    EXPECT_EQ(ask(214, 0, "223.255.255.254").status, 0);
}

TEST_F(WispdNodeControl, AdapterThatCarriesNoIpTakesNoAddress) {
    wispd::Configuration serial = three_nodes();
    serial.nodes[0].adapters[1].carries_ip = false;
    serial.nodes[0].adapters[1].address = {};
    cluster_.reconfigure(serial);
    EXPECT_EQ(ask(214, 1, "10.2.0.1").status, 6);
    EXPECT_EQ(ask(215, 1).status, 4);
    EXPECT_EQ(ask(218, 1, "10.1.0.1").status, 1);
    EXPECT_TRUE(up(3));
}

TEST_F(WispdNodeControl, AdapterWithoutItsAddressIsDownUntilItHasOne) {
    const Outcome taken = ask(215, 0);
    EXPECT_EQ(taken.status, 0);
    EXPECT_EQ(taken.changes.adapter_deaths, (Members{{2, 1}}));
    EXPECT_TRUE(taken.changes.configuration_updated);
    EXPECT_EQ(address_of(2), "none");
    EXPECT_EQ(cluster_.configured_adapters(), 6);
    EXPECT_EQ(ask(215, 0).status, 4);
    EXPECT_FALSE(ask(207, 0).changes.any());
    EXPECT_THROW(cluster_.adapter_up(2), wispd::Refused);
    const Outcome given = ask(214, 0, "10.1.0.1");
    EXPECT_EQ(given.changes.adapter_joins, (Members{{2, 2}}));
    EXPECT_TRUE(given.changes.configuration_updated);
}

TEST_F(WispdNodeControl, TwoAdaptersMayHaveNoAddress) {
    EXPECT_EQ(ask(215, 0).status, 0);
    EXPECT_EQ(ask(215, 1).status, 0);
}

TEST_F(WispdNodeControl, SwapExchangesTheAddressesOfTwoLocalAdapters) {
    const Outcome outcome = ask(218, 0, "10.2.0.1");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(outcome.changes.configuration_updated);
    EXPECT_FALSE(outcome.changes.changes_membership());
    EXPECT_EQ(address_of(2), "10.2.0.1");
    EXPECT_EQ(address_of(3), "10.1.0.1");
}

TEST_F(WispdNodeControl, SwapNeedsALocalOwner) {
    EXPECT_EQ(ask(218, 0, "10.1.0.2").status, 4); // an address of node 2
    EXPECT_EQ(ask(218, 0, "10.9.9.9").status, 4);
    EXPECT_EQ(address_of(2), "10.1.0.1");
}

TEST_F(WispdNodeControl, SwapWithItselfChangesNothing) {
    const Outcome outcome = ask(218, 0, "10.1.0.1");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_FALSE(outcome.changes.any());
}

TEST_F(WispdNodeControl, SwapWithAnAdapterWithoutAddressMovesIt) {
    ask(215, 0);
    const Changes changes = ask(218, 0, "10.2.0.1").changes;
    EXPECT_EQ(changes.adapter_deaths, (Members{{3, 1}}));
    EXPECT_EQ(changes.adapter_joins, (Members{{2, 2}}));
    EXPECT_EQ(address_of(2), "10.2.0.1");
    EXPECT_EQ(address_of(3), "none");
}

TEST_F(WispdNodeControl, ReloadGivesTheFilesAddressesBackAndKeepsWhoIsHeldDown) {
    ask(215, 0);
    ask(208, 1);
    const Changes changes = cluster_.reconfigure(three_nodes());
    EXPECT_EQ(address_of(2), "10.1.0.1");
    EXPECT_EQ(changes.adapter_joins, (Members{{2, 2}}));
    EXPECT_FALSE(up(3));
    EXPECT_EQ(ask(207, 1).changes.adapter_joins, (Members{{3, 2}}));
}

TEST_F(WispdNodeControl, ReloadThatStartsAnAdapterUpLeavesItDisabled) {
    wispd::Configuration down = three_nodes();
    down.nodes[0].adapters[1].up = false;
    control_.heed(cluster_.reconfigure(down));
    ask(208, 1);
    EXPECT_FALSE(cluster_.reconfigure(three_nodes()).changes_membership());
    EXPECT_FALSE(up(3));
    EXPECT_TRUE(cluster_.adapters()[3].disabled);
    EXPECT_EQ(ask(207, 1).changes.adapter_joins, (Members{{3, 2}}));
}

// ---- The rest ----

TEST_F(WispdNodeControl, SimulatedDeathIsOfAllLocalAdaptersThatAreUp) {
    ask(208, 1);
    const Changes changes = ask(217, -1, "0.0.0.0", 60).changes;
    EXPECT_EQ(changes.adapter_deaths, (Members{{2, 1}}));
    EXPECT_EQ(changes.adapter_joins, (Members{{2, 2}}));
    EXPECT_THAT(changes.node_deaths, IsEmpty());
    for (int seconds : {0, -1}) {
        EXPECT_FALSE(ask(217, -1, "0.0.0.0", seconds).changes.any());
    }
}

TEST_F(WispdNodeControl, StaleMessagesAreDiscardedFromNowOnOrNot) {
    EXPECT_FALSE(control_.discards_stale_messages());
    ask(219, -1);
    EXPECT_TRUE(control_.discards_stale_messages());
    ask(220, -1);
    EXPECT_FALSE(control_.discards_stale_messages());
}

TEST_F(WispdNodeControl, ManualControlIsOfOneInterfaceOrOfAll) {
    const auto names = [&] {
        const auto &set = control_.manual_control().exceptions;
        return std::vector<std::string>(set.begin(), set.end());
    };
    ask(225, -1, "0.0.0.0", 0, "eth0");
    ask(225, -1, "0.0.0.0", 0, "eth1");
    ask(226, -1, "0.0.0.0", 0, "eth1");
    EXPECT_FALSE(control_.manual_control().all);
    EXPECT_THAT(names(), ElementsAre("eth0"));
    ask(225, -1);
    EXPECT_TRUE(control_.manual_control().all);
    EXPECT_THAT(names(), IsEmpty());
    ask(226, -1, "0.0.0.0", 0, "eth2");
    EXPECT_THAT(names(), ElementsAre("eth2"));
    ask(225, -1, "0.0.0.0", 0, "eth2");
    EXPECT_THAT(names(), IsEmpty());
    ask(226, -1);
    EXPECT_FALSE(control_.manual_control().all);
}

TEST_F(WispdNodeControl, InterfacesThatAreNamedAreNotWithoutEnd) {
    for (int i = 0; i < 1024; ++i) {
        EXPECT_EQ(ask(225, -1, "0.0.0.0", 0, ("if" + std::to_string(i)).c_str()).status, 0) << i;
    }
    EXPECT_EQ(ask(225, -1, "0.0.0.0", 0, "one-more").status, 1);
    EXPECT_EQ(ask(225, -1, "0.0.0.0", 0, "if7").status, 0);
    EXPECT_EQ(control_.manual_control().exceptions.size(), 1024u);
    EXPECT_EQ(ask(226, -1, "0.0.0.0", 0, "if7").status, 0);
    EXPECT_EQ(control_.manual_control().exceptions.size(), 1023u);
}

} // namespace
