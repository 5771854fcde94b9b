// SPDX-License-Identifier: Apache-2.0
// Programs that stay connected and send requests to the daemon, and what other programs see of them.
#include <map>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/system/client.h"
#include "tests/system/clusters.h"

namespace hb_test {
namespace {

using nlohmann::json;

json state_of(Daemon &daemon) {
    return json::parse(daemon.tell(R"({"do":"state"})")).at("state");
}

// The watchers receive events and send no requests. The askers send requests and have no subscription.
class Requests : public testing::TestWithParam<Setup> {
  protected:
    void start(const std::string &configuration) {
        daemon.write_configuration(configuration);
        ASSERT_TRUE(daemon.start());
        watchers = start_clients(GetParam(), daemon,
                                 {"open", "subscribe n 3 all-nodes", "subscribe a 3 all-adapters"});
        expect_lines(watchers, {"opened", "subscribed n", "subscribed a"});
        askers = start_clients(GetParam(), daemon, {"open"});
        expect_lines(askers, {"opened"});
    }
    void TearDown() override {
        expect_good_ends(watchers);
        expect_good_ends(askers);
        EXPECT_TRUE(daemon.stop());
    }

    // One event after the other.
    void expect_events(const std::vector<std::string> &events) {
        std::vector<std::string> lines;
        for (const std::string &event : events) {
            lines.push_back("event " + std::to_string(++sequence) + " " + event);
        }
        expect_lines(watchers, lines);
    }
    json suspicions() {
        json list = state_of(daemon).at("suspicions");
        for (json &entry : list) {
            entry.erase("seconds_left");
        }
        return list;
    }
    testing::AssertionResult suspicions_become(const json &expected) {
        if (wait_until([&] { return suspicions() == expected; })) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure() << suspicions();
    }

    Daemon daemon{GetParam().daemon, small_cluster_file()};
    Clients watchers;
    Clients askers;
    int sequence = 0;
};

const char NEVER_CONFIRMED[] = "[suspicion]\nconfirm_seconds = 86400\n";

TEST_P(Requests, OfEveryProgramAreSeenByAllOthers) {
    start(small_cluster_file());
    int incarnation = 1;
    int address = 50;
    for (const auto &asker : askers) {
        const auto of_3 = [&] { return " a adapters 3@" + std::to_string(incarnation); };
        EXPECT_EQ(asker->ask("adapter-state 3"), "state 1");
        EXPECT_EQ(asker->ask("disable 3"), "done");
        expect_events({"death" + of_3()});
        EXPECT_EQ(asker->ask("adapter-state 3"), "state 2");
        // An adapter that was held down twice must be released twice.
        EXPECT_EQ(asker->ask("ifconfig-down 3"), "done");
        EXPECT_EQ(asker->ask("enable 3"), "done");
        EXPECT_EQ(asker->ask("adapter-state 3"), "state 2");
        EXPECT_EQ(asker->ask("ifconfig-up 3"), "done");
        ++incarnation;
        expect_events({"join" + of_3()});
        EXPECT_EQ(asker->ask("adapter-is-down 3"), "done");
        expect_events({"death" + of_3()});
        EXPECT_EQ(asker->ask("grace 3 5"), "failed grace 55");

        const std::string wanted = "10.2.0." + std::to_string(address++);
        EXPECT_EQ(asker->ask("configure 3 " + wanted), "done");
        ++incarnation;
        expect_events({"configuration Hb_Config_Group", "join" + of_3()});
        order_all(watchers, "configuration");
        for (const auto &watcher : watchers) {
            const std::vector<std::string> lines = watcher->lines_until("end of configuration");
            ASSERT_EQ(lines.size(), 12U);
            EXPECT_EQ(lines[5], "adapter 3 node 1 " + wanted + " eth1");
        }
        EXPECT_EQ(asker->ask("unconfigure 3"), "done");
        expect_events({"death" + of_3(), "configuration Hb_Config_Group"});
        EXPECT_EQ(asker->ask("unconfigure 3"), "failed unconfigure 7");
        EXPECT_EQ(asker->ask("configure 3 10.2.0.1"), "done");
        ++incarnation;
        expect_events({"configuration Hb_Config_Group", "join" + of_3()});

        // There and back again, by the addresses that they had when this program opened the library.
        EXPECT_EQ(asker->ask("swap 2 10.2.0.1"), "done");
        EXPECT_EQ(asker->ask("swap 3 10.2.0.1"), "done");
        expect_events({"configuration Hb_Config_Group", "configuration Hb_Config_Group"});
        EXPECT_EQ(asker->ask("node-is-down 1"), "done"); // the local node does not die
        EXPECT_EQ(asker->ask("node-is-down 3"), "done");
        EXPECT_EQ(asker->ask("adapter-state 2"), "state 1");
        sequence += 2;
        for (const auto &watcher : watchers) {
            const std::string number = std::to_string(sequence - 1);
            EXPECT_EQ(watcher->line().rfind("event " + number + " death a adapters 6@", 0), 0U);
            EXPECT_NE(watcher->line().find(" death n nodes 3 id "), std::string::npos);
        }
        EXPECT_TRUE(daemon.tells(R"({"do":"node-up","node":3})"));
        const std::string up = std::to_string(address - 49);
        expect_events({"join a adapters 6@" + up + " 7@" + up, "join n nodes 3"});
    }
}

TEST_P(Requests, AboutSomethingElseAreRefusedByTheLibrary) {
    start(small_cluster_file());
    for (const auto &asker : askers) {
        for (const char *request :
             {"enable", "disable", "ifconfig-up", "ifconfig-down", "unconfigure", "adapter-state"}) {
            const std::string it = request;
            EXPECT_EQ(asker->ask(it + " 4"), "failed " + it + " 4") << "adapter of another node";
            EXPECT_EQ(asker->ask(it + " 16"), "failed " + it + " 4") << "number out of range";
            EXPECT_EQ(asker->ask(it + " 9"), "failed " + it + " 7") << "adapter that is not configured";
        }
        EXPECT_EQ(asker->ask("configure 4 10.1.0.9"), "failed configure 4");
        EXPECT_EQ(asker->ask("configure 3 10.1.0.2"), "failed configure 50");
        EXPECT_EQ(asker->ask("configure 3 224.0.0.1"), "failed configure 51");
        EXPECT_EQ(asker->ask("swap 2 10.1.0.2"), "failed swap 4");
        EXPECT_EQ(asker->ask("grace 4 5"), "failed grace 4");
        EXPECT_EQ(asker->ask("grace 3 3601"), "failed grace 52");
        EXPECT_EQ(asker->ask("node-is-down 8"), "failed node-is-down 4");
        EXPECT_EQ(asker->ask("node-is-down 5"), "failed node-is-down 9");
        EXPECT_EQ(asker->ask("node-may-be-down -1"), "failed node-may-be-down 4");
        EXPECT_EQ(asker->ask("adapter-is-down 16"), "failed adapter-is-down 4");
        EXPECT_EQ(asker->ask("adapter-may-be-down 9"), "failed adapter-may-be-down 7");
        EXPECT_EQ(asker->ask("manual-control 3"), "failed manual-control 4");
    }
    // No client received an event before this.
    EXPECT_TRUE(daemon.tells(R"({"do":"adapter-down","adapter":4})"));
    expect_events({"death a adapters 4@1"});
}

TEST_P(Requests, SuspicionsAreShownAndEndWithASignOfLife) {
    start(small_cluster_file() + NEVER_CONFIRMED);
    Client &one = *askers.front();
    Client &other = *askers.back();
    EXPECT_EQ(one.ask("node-may-be-down 3"), "done");
    EXPECT_EQ(other.ask("adapter-may-be-down 5"), "done");
    EXPECT_EQ(other.ask("adapter-may-be-down 3"), "done");
    EXPECT_TRUE(suspicions_become({{{"node", 3}}, {{"adapter", 3}}, {{"adapter", 5}}}));
    EXPECT_TRUE(daemon.tells(R"({"do":"node-up","node":3})"));
    EXPECT_TRUE(daemon.tells(R"({"do":"adapter-up","adapter":5})"));
    EXPECT_EQ(suspicions(), json({{{"adapter", 3}}}));
    EXPECT_EQ(one.ask("enable 3"), "done");
    EXPECT_TRUE(suspicions_become(json::array()));
    // A death ends it too. So does grace, which also prevents the next one.
    EXPECT_EQ(one.ask("adapter-may-be-down 7"), "done");
    EXPECT_EQ(one.ask("adapter-may-be-down 2"), "done");
    EXPECT_TRUE(suspicions_become({{{"adapter", 2}}, {{"adapter", 7}}}));
    EXPECT_EQ(other.ask("grace 2 3600"), "done");
    EXPECT_EQ(other.ask("adapter-may-be-down 2"), "done");
    EXPECT_EQ(other.ask("adapter-is-down 7"), "done");
    EXPECT_TRUE(suspicions_become(json::array()));
    expect_events({"death a adapters 7@1"});
    EXPECT_EQ(state_of(daemon).at("graces").at(0).at("adapter"), 2);
    // Grace prevents suspicions, but not a known death. It ends with the adapter.
    EXPECT_EQ(one.ask("adapter-is-down 2"), "done");
    expect_events({"death a adapters 2@1"});
    EXPECT_EQ(state_of(daemon).at("graces"), json::array());
}

TEST_P(Requests, HeartbeatsOfEachProgramAreShown) {
    start(small_cluster_file());
    std::map<long, unsigned long> sent;
    unsigned long number = 4294967295UL;
    for (const auto &asker : askers) {
        EXPECT_EQ(asker->ask("client-heartbeat 1"), "done");
        EXPECT_EQ(asker->ask("client-heartbeat " + std::to_string(number)), "done");
        sent[asker->pid()] = number--;
    }
    const auto shown = [&] {
        std::map<long, unsigned long> heartbeats;
        const json state = state_of(daemon);
        for (const json &client : state.at("clients")) {
            if (client.contains("heartbeat")) {
                heartbeats[client.at("pid")] = client.at("heartbeat");
            }
        }
        return heartbeats;
    };
    EXPECT_TRUE(wait_until([&] { return shown() == sent; })) << testing::PrintToString(shown());
}

TEST_P(Requests, TheNodesSettingsAreKeptWhoeverMakesThem) {
    start(small_cluster_file());
    const auto becomes = [&](const std::string &key, const json &value) {
        return wait_until([&] { return state_of(daemon).at(key) == value; });
    };
    for (const auto &asker : askers) {
        EXPECT_EQ(asker->ask("discard-stale 1"), "done");
        EXPECT_TRUE(becomes("discard_stale_messages", true));
        EXPECT_EQ(asker->ask("discard-stale 0"), "done");
        EXPECT_TRUE(becomes("discard_stale_messages", false));
        EXPECT_EQ(asker->ask("manual-control 1 eth1"), "done");
        EXPECT_EQ(asker->ask("manual-control 1 eth0"), "done");
        EXPECT_TRUE(becomes("manual_control", {{"all", false}, {"interfaces", {"eth0", "eth1"}}}));
        EXPECT_EQ(asker->ask("manual-control 1"), "done");
        EXPECT_EQ(asker->ask("manual-control 2 eth0"), "done");
        EXPECT_TRUE(becomes("manual_control", {{"all", true}, {"except", {"eth0"}}}));
        EXPECT_EQ(asker->ask("manual-control 2"), "done");
        EXPECT_TRUE(becomes("manual_control", {{"all", false}, {"interfaces", json::array()}}));
    }
}

TEST_P(Requests, ThatAreRefusedAreEachLoggedAndTheConnectionGoesOn) {
    ASSERT_EQ(geteuid(), 0U) << "only root can become somebody else";
    ASSERT_EQ(chmod(daemon.directory().c_str(), 0755), 0);
    start(small_cluster_file() + "[security]\n[daemon]\nsocket_mode = \"0666\"\nkey_mode = \"0644\"\n");
    json before = state_of(daemon);
    for (const Programs &programs : GetParam().clients) {
        Client nobody(programs, daemon.socket(), {"become 65534", "open", "subscribe a 3 adapters 4"});
        EXPECT_EQ(nobody.lines(3), (std::vector<std::string>{"became 65534", "opened", "subscribed a"}));
        for (int twice = 0; twice < 2; ++twice) {
            for (const char *request :
                 {"node-may-be-down 3", "node-is-down 3", "adapter-may-be-down 5", "adapter-is-down 5",
                  "enable 3", "disable 3", "ifconfig-up 3", "ifconfig-down 3", "simulate-death 5",
                  "discard-stale 1", "discard-stale 0", "manual-control 1", "manual-control 2", "shutdown"}) {
                EXPECT_EQ(nobody.ask(request), "done") << "it has no answer";
            }
            EXPECT_EQ(nobody.ask("configure 3 10.2.0.9"), "failed configure 3");
            EXPECT_EQ(nobody.ask("unconfigure 3"), "failed unconfigure 3");
            EXPECT_EQ(nobody.ask("swap 3 10.1.0.1"), "failed swap 3");
            EXPECT_EQ(nobody.ask("grace 3 5"), "failed grace 8");
        }
        // This is answered after all those requests, so their lines are in the log by then.
        EXPECT_EQ(nobody.ask("adapter-state 3"), "state 1");
        const std::string log = daemon.log();
        for (const char *what :
             {"node may be down (node 3): ", "node is down (node 3): ", "adapter may be down (adapter 5): ",
              "adapter is down (adapter 5): ", "enable adapter (network 1): ", "disable adapter (network 1): ",
              "interface down (network 1): ", "interface up (network 1): ",
              "configure adapter (network 1, address 10.2.0.9): ", "unconfigure adapter (network 1): ",
              "adapter grace (network 1, 5 s): ", "simulate death (5 s): ",
              "swap adapters (network 1, address 10.1.0.1): ", "discard stale messages: ",
              "keep stale messages: ", "take manual control (", "release manual control (",
              "delayed shutdown: "}) {
            const std::string line = "(pid " + std::to_string(nobody.pid()) + ", uid 65534) requested " + what;
            const std::size_t first = log.find(line);
            ASSERT_NE(first, std::string::npos) << line;
            const std::string whole = log.substr(first, log.find('\n', first) - first);
            EXPECT_NE(whole.find(": rejected; only root"), std::string::npos) << whole;
            const std::size_t second = log.find(line, first + 1);
            ASSERT_NE(second, std::string::npos) << line;
            EXPECT_EQ(log.find(line, second + 1), std::string::npos) << line;
        }
        EXPECT_EQ(nobody.ask("client-heartbeat 3"), "done");
        EXPECT_EQ(nobody.ask("routes 3"), "route 3 read: 10.1.0.1 10.1.0.3 read, IP: 10.1.0.1 10.1.0.3"
                                          " asked: 10.1.0.1 10.1.0.3");
        EXPECT_EQ(nobody.ask("keys"), "generation 1");
        EXPECT_EQ(nobody.lines(3).back(), "cached 0: none none none none none none none none none none");
        json after = state_of(daemon);
        before.erase("uptime_seconds");
        after.erase("uptime_seconds");
        before.erase("clients");
        before.erase("users");
        after.erase("clients");
        after.erase("users");
        EXPECT_EQ(after, before);

        EXPECT_TRUE(daemon.tells(R"({"do":"adapter-down","adapter":4})"));
        EXPECT_EQ(nobody.line().rfind("event 1 death a adapters 4@", 0), 0U);
        EXPECT_TRUE(daemon.tells(R"({"do":"adapter-up","adapter":4})"));
        EXPECT_EQ(nobody.line().rfind("event 2 join a adapters 4@", 0), 0U);
        before = state_of(daemon);
        EXPECT_TRUE(nobody.end());
    }
    for (std::size_t i = 1; i <= GetParam().clients.size(); ++i) {
        const std::string died = std::to_string(i);
        const std::string joined = std::to_string(i + 1);
        expect_events({"death a adapters 4@" + died, "join a adapters 4@" + joined});
    }
}

SYSTEM_TESTS(Requests);

} // namespace
} // namespace hb_test
