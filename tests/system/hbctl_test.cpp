// SPDX-License-Identifier: Apache-2.0
// hbctl with a real daemon, and without one.
#include <csignal>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/system/client.h"
#include "tests/system/clusters.h"

namespace hb_test {
namespace {

using nlohmann::json;

class Hbctl : public testing::TestWithParam<Setup> {
  protected:
    void SetUp() override { ASSERT_TRUE(daemon.start()); }
    void TearDown() override { EXPECT_TRUE(daemon.stop()); }

    std::vector<std::string> command(const Programs &programs, const std::vector<std::string> &words) const {
        std::vector<std::string> line{programs.path("hbctl"), "--socket", daemon.socket(), "--json"};
        line.insert(line.end(), words.begin(), words.end());
        return line;
    }

    // Everything that it prints, one object for each line.
    std::vector<json> objects(const Programs &programs, const std::vector<std::string> &words) const {
        Child_Process process(command(programs, words));
        const std::optional<Child_End> end = process.wait();
        EXPECT_TRUE(end && end->signal == 0 && end->exit_status == 0) << process.error_output();
        EXPECT_EQ(process.error_output(), "");
        std::vector<json> all;
        while (const std::optional<std::string> line = process.read_line()) {
            all.push_back(json::parse(*line));
        }
        return all;
    }

    Daemon daemon{GetParam().daemon, small_cluster_file()};
};

json next_object(Child_Process &process) {
    const std::optional<std::string> line = process.read_line();
    EXPECT_TRUE(line) << process.error_output();
    return line ? json::parse(*line) : json::object();
}

json adapter_numbers(const json &event) {
    json numbers = json::array();
    for (const json &adapter : event.value("adapters", json::array())) {
        numbers.push_back(adapter.value("adapter", -1));
    }
    return numbers;
}

// Sequence number, event, subscription, nodes and adapters of one line.
json gist(const json &event) {
    return {event.value("seq", -1), event.value("event", ""), event.value("subscription", ""),
            event.value("nodes", json::array()), adapter_numbers(event)};
}

const json NONE = json::array();

TEST_P(Hbctl, WatchShowsEachEventOnceAndInOrder) {
    std::vector<std::unique_ptr<Child_Process>> watchers;
    for (const Programs &programs : GetParam().clients) {
        watchers.push_back(
            std::make_unique<Child_Process>(command(programs, {"watch", "--count", "11", "--timeout", "300"})));
    }
    for (const auto &watcher : watchers) {
        EXPECT_EQ(gist(next_object(*watcher)), json({1, "new-group", "hbctl-nodes", {1, 2, 3}, NONE}));
        EXPECT_EQ(gist(next_object(*watcher)),
                  json({2, "new-group", "hbctl-adapters", NONE, {2, 3, 4, 5, 6, 7}}));
    }
    const auto has_subscribed = [&](std::size_t count) {
        const json clients = json::parse(daemon.tell(R"({"do":"state"})")).at("state").at("clients");
        std::size_t complete = 0;
        for (const json &client : clients) {
            complete += client.at("subscriptions").size() == 3 ? 1 : 0;
        }
        return complete == count;
    };
    ASSERT_TRUE(wait_until([&] { return has_subscribed(watchers.size()); }));
    for (const char *order : {R"({"do":"node-down","node":3})", R"({"do":"node-up","node":3})",
                              R"({"do":"adapter-leave","adapter":5})", R"({"do":"ffdc","id":"disk full"})",
                              R"({"do":"foreign-instance","address":"2001:db8::9","instance":7})",
                              R"({"do":"heartbeat","threshold_seconds":3})"}) {
        EXPECT_TRUE(daemon.tells(order));
    }
    for (const auto &watcher : watchers) {
        const json death = next_object(*watcher);
        EXPECT_EQ(gist(death), json({3, "death", "hbctl-adapters", NONE, {6, 7}}));
        EXPECT_EQ(death["adapters"][0]["address"], "10.1.0.3");
        EXPECT_EQ(death["adapters"][1]["address"], "2001:db8::3");
        EXPECT_EQ(gist(next_object(*watcher)), json({4, "death", "hbctl-nodes", {3}, NONE}));
        EXPECT_EQ(gist(next_object(*watcher)), json({5, "join", "hbctl-adapters", NONE, {6, 7}}));
        EXPECT_EQ(gist(next_object(*watcher)), json({6, "join", "hbctl-nodes", {3}, NONE}));
        const json removed = next_object(*watcher);
        EXPECT_EQ(gist(removed), json({7, "death", "hbctl-adapters", NONE, {5}}));
        EXPECT_EQ(removed["adapters"][0]["removed"], true);
        EXPECT_EQ(gist(next_object(*watcher)), json({8, "configuration", "Hb_Config_Group", NONE, NONE}));
        const json failure = next_object(*watcher);
        EXPECT_EQ(gist(failure), json({9, "ffdc", "Hb_FFDC_Group", NONE, NONE}));
        EXPECT_EQ(failure["ffdc_id"], "disk full");
        const json foreign = next_object(*watcher);
        EXPECT_EQ(gist(foreign), json({10, "different-instance", "hbctl-instances", NONE, NONE}));
        EXPECT_EQ(foreign["address"], "2001:db8::9");
        EXPECT_EQ(foreign["instance"], 7);
        const json heartbeat = next_object(*watcher);
        EXPECT_EQ(gist(heartbeat), json({11, "heartbeat", "hbctl-nodes", NONE, NONE}));
        EXPECT_EQ(heartbeat["heartbeat"]["threshold_seconds"], 3);
        EXPECT_EQ(heartbeat["heartbeat"]["daemon_pid"], daemon.pid());
        const std::optional<Child_End> end = watcher->wait();
        EXPECT_TRUE(end && end->exit_status == 0 && end->signal == 0) << watcher->error_output();
        EXPECT_EQ(watcher->output(), "");
    }
}

TEST_P(Hbctl, WatchComesBackAfterTheDaemonDid) {
    Child_Process watcher(command(GetParam().clients.back(), {"watch", "--timeout", "300"}));
    EXPECT_EQ(next_object(watcher)["event"], "new-group");
    EXPECT_EQ(next_object(watcher)["event"], "new-group");
    daemon.kill();
    EXPECT_EQ(next_object(watcher)["event"], "disconnected");
    ASSERT_TRUE(daemon.start());
    EXPECT_EQ(next_object(watcher)["event"], "reconnected");
    EXPECT_EQ(gist(next_object(watcher)), json({1, "new-group", "hbctl-nodes", {1, 2, 3}, NONE}));
    watcher.send_signal(SIGTERM);
    EXPECT_TRUE(watcher.wait());
}

TEST_P(Hbctl, TheListsShowTheConfigurationAndWhoIsUp) {
    EXPECT_TRUE(daemon.tells(R"({"do":"adapter-down","adapter":7})"));
    for (const Programs &programs : GetParam().clients) {
        const std::vector<json> status = objects(programs, {"status"});
        ASSERT_EQ(status.size(), 1u);
        EXPECT_EQ(status[0]["socket"], daemon.socket());
        EXPECT_EQ(status[0]["local_node"], 1);
        EXPECT_EQ(status[0]["nodes"], 4);
        EXPECT_EQ(status[0]["nodes_up"], 3);
        EXPECT_EQ(status[0]["networks"], 2);
        EXPECT_EQ(status[0]["adapters"], 7);
        EXPECT_EQ(status[0]["adapters_up"], 5);
        const std::vector<json> nodes = objects(programs, {"nodes"});
        ASSERT_EQ(nodes.size(), 4u);
        EXPECT_EQ(nodes[2]["node"], 3);
        EXPECT_EQ(nodes[2]["state"], "up");
        EXPECT_EQ(nodes[3]["state"], "down");
        const std::vector<json> networks = objects(programs, {"networks"});
        ASSERT_EQ(networks.size(), 2u);
        EXPECT_EQ(networks[1]["name"], "net_b");
        EXPECT_EQ(networks[1]["adapters"], 3);
        const std::vector<json> adapters = objects(programs, {"adapters"});
        ASSERT_EQ(adapters.size(), 7u);
        EXPECT_EQ(adapters[5]["adapter"], 7);
        EXPECT_EQ(adapters[5]["address"], "2001:db8::3");
        EXPECT_EQ(adapters[5]["state"], "down");
        EXPECT_TRUE(objects(programs, {"sites"}).empty());
    }
}

SYSTEM_TESTS(Hbctl);

} // namespace
} // namespace hb_test
