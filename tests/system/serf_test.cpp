// SPDX-License-Identifier: Apache-2.0
// wispd on simulated Serf agents, and clients of the library.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/records.h"
#include "tests/support/serf_agent.h"
#include "tests/system/client.h"
#include "tests/system/daemon.h"
#include "tests/system/stream.h"

namespace hb_test {
namespace {

using nlohmann::json;

std::string discovering(const std::vector<std::unique_ptr<Serf_Agent>> &agents, const std::string &more = "") {
    std::string text = "[cluster]\nname = \"gossip\"\n[source]\ntype = \"serf\"\ndiscover = true\n" + more;
    for (std::size_t network = 0; network < agents.size(); ++network) {
        text += "[[source.agent]]\nnetwork = " + std::to_string(network) + "\nrpc = \"" +
                agents[network]->address() + "\"\n";
    }
    return text;
}

std::vector<std::unique_ptr<Serf_Agent>> agents_of(int networks, int members) {
    std::vector<std::unique_ptr<Serf_Agent>> agents;
    for (int network = 0; network < networks; ++network) {
        agents.push_back(
            std::make_unique<Serf_Agent>(Serf_Agent_Plan{"n1", simulated_members(members, network), "", 0}));
    }
    return agents;
}

json source_of(Daemon &daemon) {
    return json::parse(daemon.tell(R"({"do":"state"})")).at("state").at("source");
}

// A request has no answer: wispd has the subscription when its first event arrives.
const std::string ALL_NODES = "event 1 new-group n nodes 1 2 3 status 0";

class OnSerf : public testing::TestWithParam<Setup> {};

TEST_P(OnSerf, ClientsAreToldOfFailuresDeparturesAndNewMembers) {
    const auto agents = agents_of(2, 3);
    Daemon daemon(GetParam().daemon, discovering(agents));
    ASSERT_TRUE(daemon.start());
    Clients clients = start_clients(GetParam(), daemon, {"open", "subscribe n 7 all-nodes"});
    expect_lines(clients, {"opened", "subscribed n", ALL_NODES});

    agents[0]->change("member-failed", {"n2"}); // its other adapter keeps the node up
    agents[1]->change("member-failed", {"n2"});
    expect_lines(clients, {"event 2 death n nodes 2 id #1"});
    agents[0]->change("member-leave", {"n3"});
    agents[1]->change("member-leave", {"n3"});
    expect_lines(clients, {"event 3 death n nodes 3"}); // not a failure
    agents[1]->change("member-join", {"n2"});
    expect_lines(clients, {"event 4 join n nodes 2"});
    agents[0]->put("member-join", {{"n40", "10.0.9.40", "alive", {}}});
    expect_lines(clients, {"event 5 configuration Hb_Config_Group", "event 6 join n nodes 40"});
    expect_good_ends(clients);
    EXPECT_TRUE(daemon.stop());
}

TEST_P(OnSerf, AnAgentThatRestartsWithinTheGraceIsNoNewsForClients) {
    const auto agents = agents_of(1, 3);
    Daemon daemon(GetParam().daemon, discovering(agents, "grace_seconds = 60\n"));
    ASSERT_TRUE(daemon.start());
    Clients clients =
        start_clients(GetParam(), daemon, {"open", "subscribe a 3 all-adapters", "subscribe n 7 all-nodes"});
    expect_lines(clients, {"opened", "subscribed a", "subscribed n", ALL_NODES});
    agents[0]->refuse();
    ASSERT_TRUE(wait_until([&] { return source_of(daemon).at("engine") == "disconnected"; }));
    EXPECT_EQ(source_of(daemon).at("awaited_nodes"), json({1, 2, 3}));
    agents[0]->set_members(simulated_members(1));
    agents[0]->accept();
    ASSERT_TRUE(wait_until([&] { return source_of(daemon).at("engine") == "connected"; }));
    agents[0]->put("member-join", simulated_members(3));
    ASSERT_TRUE(wait_until([&] { return source_of(daemon).at("awaited_nodes").empty(); }));
    agents[0]->change("member-failed", {"n3"});
    expect_lines(clients,
                 {"event 2 death a adapters 144@1", "event 3 death n nodes 3 id #1"}); // nothing between
    expect_good_ends(clients);
    EXPECT_TRUE(daemon.stop());
}

TEST_P(OnSerf, HeldDeathsAndRejectedMembersAreInTheState) {
    const auto agents = agents_of(1, 3);
    Daemon daemon(GetParam().daemon, discovering(agents, "settle_milliseconds = 600000\n"));
    ASSERT_TRUE(daemon.start());
    agents[0]->change("member-failed", {"n2"});
    agents[0]->put("member-join", {{"other", "10.0.0.9", "alive", {{"hb_node", "3"}}}});
    ASSERT_TRUE(wait_until([&] { return source_of(daemon).at("rejected_members") == 1; }));
    json source = source_of(daemon);
    EXPECT_EQ(source.at("type"), "serf");
    EXPECT_EQ(source.at("agents"),
              json::array({{{"network", 0}, {"rpc", agents[0]->address()}, {"state", "connected"}}}));
    EXPECT_EQ(source.at("rejections"), json::array({"network 0, other: node 3 is already the member n3"}));
    EXPECT_EQ(source.at("settling"),
              json::array({{{"node", 2}, {"held_now", 1}, {"held", 1}, {"withdrawn", 0}}}));
    agents[0]->change("member-join", {"n2"});
    ASSERT_TRUE(wait_until([&] { return source_of(daemon).at("settling")[0].at("withdrawn") == 1; }));
    EXPECT_TRUE(daemon.stop());
}

TEST_P(OnSerf, AClientsSuspicionIsMarkedAndTheEngineDecides) {
    const auto agents = agents_of(1, 3);
    Daemon daemon(GetParam().daemon, discovering(agents));
    ASSERT_TRUE(daemon.start());
    Clients clients = start_clients(GetParam(), daemon, {"open", "subscribe n 7 all-nodes"});
    expect_lines(clients, {"opened", "subscribed n", ALL_NODES});
    ASSERT_TRUE(daemon.tells(R"({"do":"node-may-be-down","node":2})"));
    const json state = json::parse(daemon.tell(R"({"do":"state"})")).at("state");
    EXPECT_EQ(state.at("suspicions").size(), 1U);
    EXPECT_THAT(daemon.tell(R"({"do":"node-down","node":2})"), testing::HasSubstr("\"ok\":false"));
    agents[0]->change("member-failed", {"n2"});
    expect_lines(clients, {"event 2 death n nodes 2 id #1"});
    expect_good_ends(clients);
    EXPECT_TRUE(daemon.stop());
}

SYSTEM_TESTS(OnSerf);

// ---- The largest cluster ----

constexpr int NETWORKS = 48;
// A sanitizer on a busy machine needs more than the time that an agent has for an answer.
#if defined(HB_ADDRESS_SANITIZER)
constexpr int MEMBERS = 256; // nodes 1 to 256, and node 0
constexpr int DEAD = 100;
#else
constexpr int MEMBERS = 2048; // nodes 1 to 2048, and node 0
constexpr int DEAD = 1000;
#endif
constexpr int CLIENTS = 100;
constexpr std::chrono::seconds PATIENCE{300};

Bytes subscribe_to_all_nodes() {
    Bytes body;
    body.i32(1).i32(0).i32(7).text("all", 32).zeros(4).zeros(12300);
    return frame(request(209, 4711, body));
}

TEST(OnSerfAtFullSize, AThousandFailuresAreOneNodeDeathForEachOfAHundredClients) {
    const auto agents = agents_of(NETWORKS, MEMBERS);
    for (std::size_t network = 0; network < agents.size(); ++network) {
        agents[network]->put("member-join", {{"n0", "10." + std::to_string(network) + ".255.1"}});
    }
    Daemon daemon(programs_of_this_build(), discovering(agents));
    ASSERT_TRUE(daemon.start(Deadline(PATIENCE)));
    std::vector<Stream> clients;
    for (int client = 0; client < CLIENTS; ++client) {
        clients.emplace_back(daemon.socket());
        clients.back().send(frame(request(201, 4711)));
        EXPECT_EQ(clients.back().read_record().i32_at(0), 0); // HB_CONFIGURATION_INFO
        clients.back().send(subscribe_to_all_nodes());
    }
    for (const Stream &client : clients) {
        EXPECT_EQ(client.read_record().i32_at(0), 7); // HB_NODE_NEW_GROUP: it is subscribed
    }

    std::vector<std::string> dead;
    for (int number = 2; number <= DEAD + 1; ++number) {
        dead.push_back("n" + std::to_string(number));
    }
    for (const auto &agent : agents) {
        agent->change("member-failed", dead);
    }
    for (const Stream &client : clients) {
        const Bytes record = client.read_record();
        EXPECT_EQ(record.i32_at(0), 5);   // HB_NODE_DEATH
        EXPECT_EQ(record.i32_at(104), 2); // the event after the first one
    }
    ASSERT_TRUE(daemon.wait_logged("nodes died: 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17"));
    agents[0]->change("member-join", {"n2"});
    for (const Stream &client : clients) {
        EXPECT_EQ(client.read_record().i32_at(104), 3); // nothing between
    }
    EXPECT_TRUE(daemon.stop());
}

} // namespace
} // namespace hb_test
