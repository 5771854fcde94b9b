// SPDX-License-Identifier: Apache-2.0
// wispd on a real engine: the events of its clients when hosts, links and engines fail and return.
#include <algorithm>
#include <csignal>
#include <sstream>

#include <gmock/gmock.h>

#include "tests/cluster/cluster_test.h"
#include "tests/cluster/engine_cluster.h"

namespace hb_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;

class WispdOnCorosyncTest : public ClusterTest {
  protected:
    // In every test, each event of a client must have a reason.
    void TearDown() override {
        if (cluster_) {
            EXPECT_TRUE(cluster_->wait_agreement()) << cluster_->account();
            EXPECT_THAT(complaints_at_last(), IsEmpty());
            for (int host = 1; HasFailure() && host <= cluster_->hosts().count(); ++host) {
                ADD_FAILURE() << "wispd of host " << host << " said:\n" << cluster_->wispd(host).log();
            }
            for (int host = 1; HasFailure() && host <= cluster_->clients(); ++host) {
                ADD_FAILURE() << "the client of host " << host << " was told:\n" << told_by_client(host);
            }
        }
    }

    // An event that is still on its way to a client is not missing yet.
    std::vector<std::string> complaints_at_last() {
        std::vector<std::string> complaints;
        wait_until([&] {
            cluster_->collect();
            complaints = cluster_->complaints(cluster_->model_patience());
            return complaints.empty();
        });
        return complaints;
    }

    Engine_Cluster &start(int hosts, const Engine_Patience &patience = {}) {
        cluster_ = std::make_unique<Engine_Cluster>(hosts, 2, patience);
        EXPECT_TRUE(cluster_->start()) << cluster_->account();
        return *cluster_;
    }

    std::string told_by_client(int host) {
        std::string text;
        for (const Told &told : cluster_->client(host).told()) {
            text += told.line + "\n";
        }
        return text;
    }

    std::unique_ptr<Engine_Cluster> cluster_;
};

// One line for each member of each event, in the order of the events. Members that die together may share an
// event or not.
std::vector<std::string> one_by_one(const std::vector<std::string> &events) {
    std::vector<std::string> all;
    for (const std::string &event : events) {
        std::istringstream words(event);
        std::string kind;
        std::string what;
        words >> kind >> what;
        if (kind == "configuration") {
            all.push_back(event);
            continue;
        }
        what.pop_back();
        for (std::string member; words >> member;) {
            all.push_back(kind + " " + what + " " + member);
        }
    }
    return all;
}

std::vector<std::string> told_since(Client_On_Host &client, std::size_t mark) {
    return one_by_one(client.events_since(mark));
}

// Links flap on a busy machine, and clients receive those events too; the model accounts for them. The events
// of the test's own faults must be among those received.
bool wait_all_told(Client_On_Host &client, std::size_t mark, const std::vector<std::string> &expected) {
    return client.wait_for([&] { return testing::Matches(IsSupersetOf(expected))(told_since(client, mark)); });
}

// The events about this: "node", "adapter 97", "configuration".
std::vector<std::string> told_of(const std::string &what, Client_On_Host &client, std::size_t mark) {
    std::vector<std::string> events = told_since(client, mark);
    std::erase_if(events, [&](const std::string &event) {
        const std::size_t found = event.find(what);
        const std::size_t end = found + what.size();
        return found == std::string::npos || (end < event.size() && event[end] != ' ');
    });
    return events;
}

TEST_F(WispdOnCorosyncTest, AReloadThatIsAskedForBeforeTheEngineIsThereComesAfterTheStart) {
    Hosts hosts(1);
    Wispd_On_Host wispd(hosts, 1, engine_cluster_file({100, 120}));
    wispd.launch();
    ASSERT_TRUE(wispd.wait_logged("Corosync unreachable")) << wispd.log();
    wispd.send_signal(SIGHUP);
    hosts.start(1);
    EXPECT_TRUE(wispd.wait_logged("loaded ")) << wispd.log();
    EXPECT_TRUE(wispd.stop()) << wispd.log();
}

TEST_F(WispdOnCorosyncTest, AnEngineThatAnswersNothingIsNotWaitedForLongerThanOneThatDoesNotRun) {
    Hosts hosts(1);
    hosts.start(1);
    ASSERT_TRUE(hosts.wait_quorum());
    hosts.engine(1).send_signal(SIGSTOP);
    Wispd_On_Host wispd(hosts, 1, engine_cluster_file({100, 1}));
    wispd.launch();
    EXPECT_EQ(wispd.wait_ended(), 1) << wispd.log();
    EXPECT_THAT(wispd.log(), HasSubstr("wispd: Corosync is running but does not respond"));
    hosts.engine(1).send_signal(SIGCONT);
}

TEST_F(WispdOnCorosyncTest, TheFirstTableHasTheEnginesNodesNamesAddressesAndLinks) {
    Engine_Cluster &cluster = start(3);
    Client_On_Host &client = cluster.client(2);
    EXPECT_EQ(client.table().nodes(), (std::set<unsigned>{1, 2, 3}));
    EXPECT_EQ(client.table().adapters(), (std::set<unsigned>{48, 49, 96, 97, 144, 145}));
    const auto configuration = std::find_if(client.told().begin(), client.told().end(), [](const Told &told) {
        return told.kind == Told::Kind::configuration;
    });
    ASSERT_NE(configuration, client.told().end());
    EXPECT_EQ(configuration->addresses, (std::map<unsigned, std::string>{{48, "10.91.0.1"},
                                                                         {49, "10.91.1.1"},
                                                                         {96, "10.91.0.2"},
                                                                         {97, "10.91.1.2"},
                                                                         {144, "10.91.0.3"},
                                                                         {145, "10.91.1.3"}}));
    const nlohmann::json state = cluster.wispd(2).state();
    EXPECT_EQ(state.at("cluster"), "hb_test");
    EXPECT_EQ(state.at("local_node"), 2);
    EXPECT_EQ(state.at("nodes").at(2).at("name"), "host3");
    EXPECT_EQ(state.at("networks").at(0).at("name"), "link0");
    EXPECT_EQ(state.at("networks").at(1).at("name"), "link1");
    EXPECT_EQ(state.at("source").at("type"), "corosync");
    EXPECT_EQ(state.at("source").at("engine"), "connected");
    const nlohmann::json file = cluster.wispd(2).cluster_file();
    EXPECT_EQ(file.at("engine"), "connected");
    for (const nlohmann::json &node : state.at("nodes")) {
        EXPECT_EQ(file.at("nodes").at(std::to_string(node.at("number").get<int>())), node.at("name"));
    }
}

TEST_F(WispdOnCorosyncTest, AKilledNeighbourLosesItsAdaptersAndThenItsNodeAndComesBackAnew) {
    Engine_Cluster &cluster = start(3);
    Client_On_Host &client = cluster.client(1);
    const std::map<unsigned, unsigned> before = client.table().incarnations();
    std::size_t mark = client.mark();
    cluster.hosts().kill(3);
    ASSERT_TRUE(client.wait_up({1, 2}, {48, 49, 96, 97})) << cluster.account();
    const std::vector<std::string> deaths = told_since(client, mark);
    EXPECT_THAT(deaths, IsSupersetOf({"death adapter 144", "death adapter 145", "death node 3"}));
    EXPECT_EQ(deaths.back(), "death node 3");
    EXPECT_THAT(told_of("node", client, mark), ElementsAre("death node 3"));
    mark = client.mark();
    cluster.hosts().start(3);
    ASSERT_TRUE(cluster.wait_all_up()) << cluster.account();
    EXPECT_THAT(told_since(client, mark),
                IsSupersetOf({"join adapter 144", "join adapter 145", "join node 3"}));
    const std::map<unsigned, unsigned> after = client.table().incarnations();
    EXPECT_GT(after.at(144), before.at(144));
    EXPECT_GT(after.at(145), before.at(145));
    EXPECT_EQ(after.at(96), before.at(96));
}

TEST_F(WispdOnCorosyncTest, ANeighbourThatLeavesInGoodOrderIsDeadAllTheSame) {
    Engine_Cluster &cluster = start(3);
    Client_On_Host &client = cluster.client(2);
    const std::size_t mark = client.mark();
    cluster.hosts().stop(1);
    ASSERT_TRUE(client.wait_up({2, 3}, {96, 97, 144, 145})) << cluster.account();
    EXPECT_THAT(told_since(client, mark),
                IsSupersetOf({"death adapter 48", "death adapter 49", "death node 1"}));
    cluster.hosts().start(1);
    EXPECT_TRUE(cluster.wait_all_up()) << cluster.account();
}

TEST_F(WispdOnCorosyncTest, ACutLinkIsTheDeathOfItsAdaptersAndOfNobodyElse) {
    Engine_Cluster &cluster = start(3);
    const std::size_t mark_1 = cluster.client(1).mark();
    const std::size_t mark_2 = cluster.client(2).mark();
    cluster.hosts().cut(2, 1);
    // On that link host 2 cannot reach its two neighbours, and its own adapter is down.
    ASSERT_TRUE(cluster.client(2).wait_up({1, 2, 3}, {48, 96, 144})) << cluster.account();
    ASSERT_TRUE(cluster.client(1).wait_up({1, 2, 3}, {48, 49, 96, 144, 145})) << cluster.account();
    EXPECT_THAT(told_of("adapter 97", cluster.client(1), mark_1), ElementsAre("death adapter 97"));
    EXPECT_THAT(told_since(cluster.client(2), mark_2),
                IsSupersetOf({"death adapter 97", "death adapter 49", "death adapter 145"}));
    cluster.hosts().restore(2, 1);
    ASSERT_TRUE(cluster.wait_all_up()) << cluster.account();
    EXPECT_THAT(told_since(cluster.client(1), mark_1), IsSupersetOf({"death adapter 97", "join adapter 97"}));
    EXPECT_THAT(told_of("node", cluster.client(1), mark_1), IsEmpty());
}

TEST_F(WispdOnCorosyncTest, AnOwnAdapterFollowsItsInterfaceAlsoWithoutAnEngine) {
    Engine_Cluster &cluster = start(2, {100, 60});
    Client_On_Host &client = cluster.client(1);
    cluster.hosts().kill(1);
    ASSERT_TRUE(cluster.wispd(1).wait_logged("Corosync disconnected"));
    const std::size_t mark = client.mark();
    const auto interface_is = [&](bool up) {
        return cluster.observer(1).wait_for(
            [&] { return (cluster.observer(1).witness().adapters().count(48) != 0) == up; });
    };
    cluster.hosts().cut(1, 0);
    ASSERT_TRUE(interface_is(false) && wait_all_told(client, mark, {"death adapter 48"}));
    cluster.hosts().restore(1, 0);
    ASSERT_TRUE(wait_all_told(client, mark, {"death adapter 48", "join adapter 48"}));
    EXPECT_THAT(told_of("adapter 48", client, mark), ElementsAre("death adapter 48", "join adapter 48"));
    cluster.hosts().start(1);
    EXPECT_TRUE(cluster.wait_all_up()) << cluster.account();
}

TEST_F(WispdOnCorosyncTest, ALinkThatWentAndCameBackUnseenIsToldAsDeathAndJoin) {
    Engine_Cluster &cluster = start(2);
    Client_On_Host &client = cluster.client(1);
    const unsigned before = client.table().incarnations().at(97);
    const std::size_t mark = client.mark();
    const auto engine_has = [&](bool up) {
        return cluster.observer(1).wait_for(
            [&] { return (cluster.observer(1).witness().adapters().count(97) != 0) == up; });
    };
    cluster.wispd(1).send_signal(SIGSTOP); // so that it sees nothing in between
    cluster.hosts().cut(2, 1);
    ASSERT_TRUE(engine_has(false));
    cluster.hosts().restore(2, 1);
    ASSERT_TRUE(engine_has(true));
    cluster.wispd(1).send_signal(SIGCONT);
    EXPECT_TRUE(wait_all_told(client, mark, {"death adapter 97", "join adapter 97"})) << cluster.account();
    EXPECT_GT(client.table().incarnations().at(97), before);
    EXPECT_TRUE(cluster.wait_all_up()) << cluster.account();
}

TEST_F(WispdOnCorosyncTest, ANeighbourThatWentAndCameBackUnseenIsToldAsDeathAndJoin) {
    Engine_Cluster &cluster = start(3);
    Client_On_Host &client = cluster.client(1);
    const std::size_t mark = client.mark();
    cluster.wispd(1).send_signal(SIGSTOP);
    cluster.hosts().kill(3);
    ASSERT_TRUE(cluster.hosts().wait_sees(1, {1, 2}));
    cluster.hosts().start(3);
    ASSERT_TRUE(cluster.hosts().wait_quorum());
    ASSERT_TRUE(cluster.hosts().wait_reaches(1, 3, 0, true));
    ASSERT_TRUE(cluster.hosts().wait_reaches(1, 3, 1, true));
    cluster.wispd(1).send_signal(SIGCONT);
    EXPECT_TRUE(wait_all_told(client, mark,
                              {"death adapter 144", "death adapter 145", "death node 3", "join adapter 144",
                               "join adapter 145", "join node 3"}))
        << cluster.account();
    EXPECT_THAT(told_of("node", client, mark), ElementsAre("death node 3", "join node 3"));
    EXPECT_TRUE(cluster.wait_all_up()) << cluster.account();
}

TEST_F(WispdOnCorosyncTest, RoutesAreADirectHopOnTheFirstLinkThatIsUp) {
    Engine_Cluster &cluster = start(3);
    Client_On_Host &client = cluster.client(1);
    const auto route_becomes = [&](unsigned node, const std::string &route) {
        return wait_until([&] { return client.route(node) == route; });
    };
    EXPECT_TRUE(route_becomes(2, "10.91.0.1 10.91.0.2")) << client.route(2);
    EXPECT_TRUE(route_becomes(3, "10.91.0.1 10.91.0.3")) << client.route(3);
    cluster.hosts().cut(2, 0);
    EXPECT_TRUE(route_becomes(2, "10.91.1.1 10.91.1.2")) << client.route(2);
    EXPECT_TRUE(route_becomes(3, "10.91.0.1 10.91.0.3")) << client.route(3);
    cluster.hosts().restore(2, 0);
    EXPECT_TRUE(route_becomes(2, "10.91.0.1 10.91.0.2")) << client.route(2);
    EXPECT_TRUE(cluster.wait_all_up()) << cluster.account();
}

// ---- The configuration ----

TEST_F(WispdOnCorosyncTest, AReloadIsOneUpdateAndARejectedOneIsNone) {
    Engine_Cluster &cluster = start(3);
    Hosts &hosts = cluster.hosts();
    Client_On_Host &client = cluster.client(1);
    const std::vector<Engine_Node> all = hosts.nodes();
    hosts.stop(3);
    ASSERT_TRUE(client.wait_up({1, 2}, {48, 49, 96, 97})) << cluster.account();
    const std::size_t mark = client.mark();

    // First an unreadable configuration, then an impossible one: an address cannot change while the engine
    // runs.
    for (int host = 1; host <= 3; ++host) {
        hosts.write_configuration(host, "totem {\n    version: 2\n    token: much\n}\n");
    }
    EXPECT_FALSE(hosts.reload(1).accepted);
    std::vector<Engine_Node> moved = all;
    moved[1].addresses[0] = "10.91.0.99";
    hosts.set_nodes(moved);
    EXPECT_FALSE(hosts.reload(1).accepted);
    ASSERT_TRUE(cluster.wispd(1).wait_logged("Corosync rejected a configuration reload"));
    hosts.set_nodes({all[0], all[1]});
    ASSERT_TRUE(hosts.reload(1).accepted);
    ASSERT_TRUE(wait_all_told(client, mark, {"configuration nodes 1 2"}));
    hosts.set_nodes(all);
    ASSERT_TRUE(hosts.reload(2).accepted);
    ASSERT_TRUE(wait_all_told(client, mark, {"configuration nodes 1 2 3"}));
    hosts.start(3);
    ASSERT_TRUE(cluster.wait_all_up()) << cluster.account();
    EXPECT_THAT(told_of("configuration nodes 1 2", client, mark),
                ElementsAre("configuration nodes 1 2", "configuration nodes 1 2 3"));
    EXPECT_THAT(told_since(client, mark),
                IsSupersetOf({"join adapter 144", "join adapter 145", "join node 3"}));
}

TEST_F(WispdOnCorosyncTest, ANodeOfALargeIdentifierIsRefusedByNameUntilItHasANumber) {
    cluster_ = std::make_unique<Engine_Cluster>(2);
    Hosts &hosts = cluster_->hosts();
    std::vector<Engine_Node> nodes = hosts.nodes();
    nodes[1].id = 60000;
    hosts.set_nodes(nodes);
    hosts.start_all();
    ASSERT_TRUE(hosts.wait_quorum()) << hosts.account();
    Wispd_On_Host &wispd = cluster_->wispd(1);
    wispd.launch();
    EXPECT_EQ(wispd.wait_ended(), 1) << wispd.log();
    EXPECT_THAT(wispd.log(), HasSubstr("Corosync node 60000 has no number"));
    EXPECT_THAT(wispd.log(), HasSubstr("[[source.node]]"));

    wispd.write_configuration(engine_cluster_file({}, "[[source.node]]\nid = 60000\nnumber = 17\n"
                                                      "[[source.network]]\nlink = 0\nname = \"service\"\n"));
    ASSERT_TRUE(wispd.start());
    Client_On_Host client(hosts, 1);
    EXPECT_TRUE(client.wait_up({1, 17}, {48, 49, 816, 817})) << client.account();
    EXPECT_EQ(wispd.state().at("networks").at(0).at("name"), "service");
    hosts.kill(2);
    EXPECT_TRUE(client.wait_up({1}, {48, 49})) << client.account();
    EXPECT_THAT(client.table().objections(), IsEmpty());
}

TEST_F(WispdOnCorosyncTest, AReloadThatBringsANodeWithoutANumberIsRefusedAndChangesNothing) {
    Engine_Cluster &cluster = start(2);
    Hosts &hosts = cluster.hosts();
    const std::size_t mark = cluster.client(1).mark();
    const std::vector<Engine_Node> all = hosts.nodes();
    std::vector<Engine_Node> more = all;
    more.push_back({60000, "far", {"10.91.0.77", "10.91.1.77"}});
    hosts.set_nodes(more);
    ASSERT_TRUE(hosts.reload(1).accepted);
    ASSERT_TRUE(cluster.wispd(1).wait_logged("Corosync node 60000 has no number"));
    EXPECT_THAT(cluster.wispd(1).state().at("source").at("refused_configuration").get<std::string>(),
                HasSubstr("60000"));
    hosts.cut(2, 0);
    ASSERT_TRUE(wait_all_told(cluster.client(1), mark, {"death adapter 96"}));
    hosts.restore(2, 0);
    ASSERT_TRUE(wait_all_told(cluster.client(1), mark, {"death adapter 96", "join adapter 96"}));
    EXPECT_TRUE(std::none_of(cluster.client(1).told().begin() + static_cast<std::ptrdiff_t>(mark),
                             cluster.client(1).told().end(),
                             [](const Told &told) { return told.kind == Told::Kind::configuration; }));
    EXPECT_THAT(cluster.client(1).table().objections(), IsEmpty());
    cluster_.reset(); // the observer does not know these numbers
}

TEST_F(WispdOnCorosyncTest, ARunningNodeThatAReloadTakesOutDiesOnceAndIsGone) {
    Engine_Cluster &cluster = start(3);
    Hosts &hosts = cluster.hosts();
    const std::vector<Engine_Node> all = hosts.nodes();
    Client_On_Host &client = cluster.client(1);
    const std::size_t mark = client.mark();
    hosts.set_nodes({all[0], all[1]});
    ASSERT_TRUE(hosts.reload(1).accepted);
    ASSERT_TRUE(wait_all_told(
        client, mark, {"death adapter 144", "death adapter 145", "death node 3", "configuration nodes 1 2"}))
        << cluster.account();
    hosts.kill(3);
    ASSERT_TRUE(hosts.wait_sees(1, {1, 2})) << cluster.account();
    hosts.set_nodes(all);
    ASSERT_TRUE(hosts.reload(1).accepted);
    hosts.start(3);
    EXPECT_TRUE(cluster.wait_all_up()) << cluster.account();
    const auto of_node_or_configuration = [](const std::string &event) {
        return event.find("adapter") == event.npos;
    };
    std::vector<std::string> told = told_since(client, mark);
    std::erase_if(told, [&](const std::string &event) { return !of_node_or_configuration(event); });
    EXPECT_THAT(told, ElementsAre("death node 3", "configuration nodes 1 2", "configuration nodes 1 2 3",
                                  "join node 3"));
}

TEST_F(WispdOnCorosyncTest, OtherNamesInWispdsOwnFileAreOneUpdate) {
    Engine_Cluster &cluster = start(2);
    const std::size_t mark = cluster.client(1).mark();
    cluster.wispd(1).write_configuration(
        engine_cluster_file({}, "[[source.network]]\nlink = 1\nname = \"storage\"\n"));
    cluster.wispd(1).send_signal(SIGHUP);
    ASSERT_TRUE(wait_all_told(cluster.client(1), mark, {"configuration nodes 1 2"}));
    EXPECT_EQ(cluster.wispd(1).state().at("networks").at(1).at("name"), "storage");
    EXPECT_THAT(told_of("configuration nodes 1 2", cluster.client(1), mark),
                ElementsAre("configuration nodes 1 2"));
    EXPECT_THAT(cluster.client(1).table().objections(), IsEmpty());
    cluster_.reset(); // the observer does not know wispd's own file
}

// ---- The engine of wispd's own host ----

TEST_F(WispdOnCorosyncTest, AnEngineThatIsHeldUpHoldsUpNoClient) {
    Engine_Cluster &cluster = start(3, {100, 2});
    Client_On_Host &client = cluster.client(1);
    const std::size_t mark = client.mark();
    cluster.hosts().engine(1).send_signal(SIGSTOP);
    Client_On_Host another(cluster.hosts(), 1);
    EXPECT_TRUE(another.wait_for([&] { return another.table().connected(); }));
    ASSERT_TRUE(client.wait_up({1}, {48, 49})) << cluster.wispd(1).log();
    EXPECT_EQ(cluster.wispd(1).state().at("source").at("engine"), "silent");
    cluster.hosts().engine(1).send_signal(SIGCONT);
    ASSERT_TRUE(client.wait_up({1, 2, 3}, {48, 49, 96, 97, 144, 145})) << cluster.account();
    EXPECT_THAT(told_since(client, mark),
                IsSupersetOf({"death node 2", "death node 3", "join node 2", "join node 3"}));
    EXPECT_THAT(client.table().objections(), IsEmpty());
    EXPECT_THAT(another.table().objections(), IsEmpty());
    cluster_.reset(); // the observer was stopped as well
}

TEST_F(WispdOnCorosyncTest, AnEngineThatIsBackWithinTheGraceChangesNothing) {
    Engine_Cluster &cluster = start(3, {100, 60});
    Client_On_Host &client = cluster.client(1);
    const std::size_t mark = client.mark();
    cluster.hosts().kill(1);
    ASSERT_TRUE(cluster.wispd(1).wait_logged("Corosync disconnected"));
    const nlohmann::json gone = cluster.wispd(1).state().at("source");
    EXPECT_EQ(gone.at("engine"), "disconnected");
    EXPECT_THAT(gone.at("trouble").get<std::string>(), testing::Not(IsEmpty()));
    EXPECT_EQ(gone.at("awaited_nodes"), (nlohmann::json{2, 3}));
    EXPECT_TRUE(cluster.wispd(1).wait_engine_in_file("disconnected"));
    // Its neighbours see its end like any other.
    ASSERT_TRUE(cluster.client(2).wait_up({2, 3}, {96, 97, 144, 145})) << cluster.account();
    cluster.hosts().start(1);
    ASSERT_TRUE(cluster.wait_all_up()) << cluster.account();
    ASSERT_TRUE(cluster.wispd(1).wait_state([](const nlohmann::json &state) {
        return state.at("source").at("engine") == "connected" && state.at("source").at("awaited_nodes").empty();
    }));
    EXPECT_THAT(told_of("node", client, mark), IsEmpty());
    EXPECT_TRUE(client.table().connected());
}

TEST_F(WispdOnCorosyncTest, AnEngineThatIsHeldUpForLessThanTheGraceIsOnlySilent) {
    Engine_Cluster &cluster = start(3, {100, 60});
    const auto is_engine = [](const std::string &state) {
        return [state](const nlohmann::json &now) { return now.at("source").at("engine") == state; };
    };
    const std::size_t mark = cluster.client(2).mark();
    cluster.hosts().engine(1).send_signal(SIGSTOP);
    EXPECT_TRUE(cluster.wispd(1).wait_state(is_engine("silent"))); // wispd still answers
    EXPECT_TRUE(cluster.wispd(1).wait_engine_in_file("silent"));
    EXPECT_TRUE(wait_all_told(cluster.client(2), mark, {"death node 1"}));
    cluster.hosts().engine(1).send_signal(SIGCONT);
    EXPECT_TRUE(cluster.wispd(1).wait_state(is_engine("connected")));
    EXPECT_TRUE(cluster.wispd(1).wait_engine_in_file("connected"));
    EXPECT_TRUE(cluster.wait_all_up()) << cluster.account();
    EXPECT_TRUE(cluster.wispd(1).wait_logged("Corosync responds again"));
}

TEST_F(WispdOnCorosyncTest, AfterTheGraceTheOthersAreDeadAndOnReturnTheyJoin) {
    Engine_Cluster &cluster = start(3, {100, 1});
    Client_On_Host &client = cluster.client(1);
    std::size_t mark = client.mark();
    cluster.hosts().kill(1);
    ASSERT_TRUE(client.wait_up({1}, {48, 49})) << cluster.account();
    EXPECT_THAT(told_since(client, mark),
                IsSupersetOf({"death adapter 96", "death adapter 97", "death adapter 144", "death adapter 145",
                              "death node 2", "death node 3"}));
    mark = client.mark();
    cluster.hosts().start(1);
    ASSERT_TRUE(cluster.wait_all_up()) << cluster.account();
    EXPECT_THAT(told_since(client, mark),
                IsSupersetOf({"join adapter 96", "join adapter 97", "join adapter 144", "join adapter 145",
                              "join node 2", "join node 3"}));
}

TEST_F(WispdOnCorosyncTest, WhatHappenedWhileTheEngineWasGoneIsToldAsTheDifference) {
    Engine_Cluster &cluster = start(3, {100, 8});
    Client_On_Host &client = cluster.client(1);
    const std::size_t mark = client.mark();
    cluster.hosts().kill(1);
    cluster.hosts().kill(3);
    cluster.hosts().start(1);
    ASSERT_TRUE(client.wait_up({1, 2}, {48, 49, 96, 97})) << cluster.account();
    EXPECT_THAT(told_since(client, mark),
                IsSupersetOf({"death adapter 144", "death adapter 145", "death node 3"}));
    EXPECT_THAT(told_of("node", client, mark), ElementsAre("death node 3"));
    cluster.hosts().start(3);
    EXPECT_TRUE(cluster.wait_all_up()) << cluster.account();
}

// ---- wispd and its clients ----

TEST_F(WispdOnCorosyncTest, ClientsFindTheWholeTableAgainAfterARestartOfWispd) {
    Engine_Cluster &cluster = start(3);
    Wispd_On_Host &wispd = cluster.wispd(1);
    Client_On_Host &client = cluster.client(1);
    ASSERT_TRUE(wispd.stop());
    ASSERT_TRUE(client.wait_for([&] { return !client.table().connected(); }));
    cluster.hosts().kill(3);
    ASSERT_TRUE(cluster.client(2).wait_up({1, 2}, {48, 49, 96, 97})) << cluster.account();
    ASSERT_TRUE(wispd.start());
    ASSERT_TRUE(client.wait_up({1, 2}, {48, 49, 96, 97})) << cluster.account();
    wispd.kill();
    ASSERT_TRUE(client.wait_for([&] { return !client.table().connected(); }));
    ASSERT_TRUE(wispd.start());
    cluster.hosts().start(3);
    EXPECT_TRUE(cluster.wait_all_up()) << cluster.account();
    EXPECT_EQ(client.own_table().substr(0, 12), "nodes 1 2 3 ");
}

TEST_F(WispdOnCorosyncTest, WithoutAnEngineWispdSaysSoAndEnds) {
    cluster_ = std::make_unique<Engine_Cluster>(1, 1, Engine_Patience{100, 1});
    cluster_->wispd(1).launch();
    EXPECT_EQ(cluster_->wispd(1).wait_ended(), 1);
    EXPECT_THAT(cluster_->wispd(1).log(), HasSubstr("start Corosync"));
}

#ifdef HB_OTHER_ABI_BIN_DIR
TEST_F(WispdOnCorosyncTest, AClientOfTheOtherAbiIsToldTheSame) {
    Engine_Cluster &cluster = start(3);
    Client_On_Host other(cluster.hosts(), 1, HB_OTHER_ABI_BIN_DIR);
    ASSERT_TRUE(other.wait_up({1, 2, 3}, {48, 49, 96, 97, 144, 145})) << other.account();
    std::size_t mark = cluster.client(1).mark();
    std::size_t other_mark = other.mark();
    cluster.hosts().kill(3);
    ASSERT_TRUE(
        wait_all_told(cluster.client(1), mark, {"death adapter 144", "death adapter 145", "death node 3"}));
    ASSERT_TRUE(wait_all_told(other, other_mark, {"death adapter 144", "death adapter 145", "death node 3"}));
    cluster.hosts().start(3);
    ASSERT_TRUE(
        wait_all_told(cluster.client(1), mark, {"join adapter 144", "join adapter 145", "join node 3"}));
    ASSERT_TRUE(wait_all_told(other, other_mark, {"join adapter 144", "join adapter 145", "join node 3"}));
    EXPECT_EQ(other.events_since(other_mark), cluster.client(1).events_since(mark));
    EXPECT_EQ(other.route(2), cluster.client(1).route(2));
    EXPECT_EQ(other.own_table(), cluster.client(1).own_table());
    EXPECT_THAT(other.table().objections(), IsEmpty());
    // A client may receive an event before the observer beside it does.
    EXPECT_TRUE(wait_until([&] {
        cluster.collect();
        other.collect();
        return explain(other.told(), cluster.observer(1).witness(), cluster.model_patience()).faults.empty();
    })) << other.account();
}
#endif

} // namespace
} // namespace hb_test
