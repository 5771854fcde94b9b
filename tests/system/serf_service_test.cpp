// SPDX-License-Identifier: Apache-2.0
// Programs with the cluster service over simulated Serf agents: some migrate from a wispd that follows the same
// agents, others start without one.
#include <algorithm>
#include <fstream>
#include <limits>
#include <map>
#include <set>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/serf_agent.h"
#include "tests/system/client.h"
#include "tests/system/daemon.h"
#include "tests/system/service_client.h"

namespace hb_test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

using Members = std::set<unsigned>;

// The events of a client, one member each: "death nodes 3", "join adapters 144".
class Received_Events {
  public:
    Received_Events(Client &client, const Members &nodes, const Members &adapters)
        : client_(client), up_{{"nodes", nodes}, {"adapters", adapters}} {}

    // Reads lines until exactly these are up.
    testing::AssertionResult wait_up(const Members &nodes, const Members &adapters) {
        // A client of the service prints a line also for a poll without an event.
        const Deadline deadline;
        while (up_["nodes"] != nodes || up_["adapters"] != adapters) {
            const std::string line = client_.line();
            if (line.starts_with("[") || deadline.over()) {
                return testing::AssertionFailure() << line << account();
            }
            receive(line);
        }
        return testing::AssertionSuccess();
    }
    // Reads lines up to this one.
    testing::AssertionResult wait_line(const std::string &last) {
        for (const std::string &line : client_.lines_until(last)) {
            if (line.starts_with("[")) {
                return testing::AssertionFailure() << line << account();
            }
            receive(line);
        }
        return testing::AssertionSuccess();
    }

    int count(const std::string &event) const {
        return static_cast<int>(std::count(events_.begin(), events_.end(), event));
    }
    // Deaths of members that were not up, and joins of members that were.
    const std::vector<std::string> &contradictions() const { return contradictions_; }
    std::string account() const {
        std::string text = "; received:";
        for (const std::string &event : events_) {
            text += "\n" + event;
        }
        return text;
    }

  private:
    // "event 3 death a adapters 144@0 145@0 id #1"
    void receive(const std::string &line) {
        std::istringstream words(line);
        std::string event, number, kind, name, members;
        words >> event >> number >> kind >> name >> members;
        if (event != "event" || (kind != "death" && kind != "join")) {
            return;
        }
        for (unsigned member = 0; words >> member;
             words.ignore(std::numeric_limits<std::streamsize>::max(), ' ')) {
            events_.push_back(kind + " " + members + " " + std::to_string(member));
            const bool changed =
                kind == "death" ? up_[members].erase(member) == 1 : up_[members].insert(member).second;
            if (!changed) {
                contradictions_.push_back(events_.back());
            }
        }
    }

    Client &client_;
    std::map<std::string, Members> up_;
    std::vector<std::string> events_;
    std::vector<std::string> contradictions_;
};

class Serf_Service_Programs : public testing::TestWithParam<Setup> {
  protected:
    const Programs &programs() const { return GetParam().clients.back(); }

    void serve(int members) {
        for (const int network : {0, 1}) {
            agents_.push_back(std::make_unique<Serf_Agent>(
                Serf_Agent_Plan{"n1", simulated_members(members, network), "", 0}));
        }
    }
    std::string file() const {
        std::string text = "[cluster]\nname = \"gossip\"\n[source]\ntype = \"serf\"\ndiscover = true\n";
        for (std::size_t network = 0; network < agents_.size(); ++network) {
            text += "[[source.agent]]\nnetwork = " + std::to_string(network) + "\nrpc = \"" +
                    agents_[network]->address() + "\"\n";
        }
        return text + "[daemon]\nshutdown_delay_seconds = 0.2\n";
    }
    Child_Process::Environment preloaded(const std::string &file) const {
        Child_Process::Environment environment = service_preloaded(programs(), "serf");
        if (!file.empty()) {
            environment.emplace_back("HB_MOX_SERF_CONFIG", file);
        }
        return environment;
    }
    std::unique_ptr<Child_Process> start_example(const std::string &file) const {
        Child_Process::Environment environment = preloaded(file);
        environment.insert(environment.end(), {{"HB_SERVER_SOCKET", directory_.file("no_daemon")},
                                               {"HA_DOMAIN_NAME", ""},
                                               {"HA_SYSPAR_NAME", ""}});
        return std::make_unique<Child_Process>(
            std::vector<std::string>{programs().path("cluster_events_example")}, environment);
    }
    void change_on_all(const std::string &event, const std::string &member) {
        for (const auto &agent : agents_) {
            agent->change(event, {member});
        }
    }

    std::vector<std::unique_ptr<Serf_Agent>> agents_;
    Temp_Dir directory_;
};

// ---- From wispd to the service ----

TEST_P(Serf_Service_Programs, WispdAndTheServiceAgree) {
    serve(4);
    Daemon daemon(GetParam().daemon, file());
    ASSERT_TRUE(daemon.start());
    Child_Process hbctl({programs().path("hbctl"), "--socket", daemon.socket(), "migrate", "--check"},
                        preloaded(daemon.configuration_file()));
    hbctl.close_input();
    const std::optional<Child_End> end = hbctl.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(0, end->exit_status) << hbctl.error_output();
    EXPECT_THAT(hbctl.output(),
                HasSubstr("nodes            agree: the service knows all of the daemon's 4 nodes"));
    EXPECT_THAT(hbctl.output(), HasSubstr("migration        possible"));
    EXPECT_TRUE(daemon.stop());
}

TEST_P(Serf_Service_Programs, AMigrationLosesAndDoublesNoEvent) {
    serve(4);
    Daemon daemon(GetParam().daemon, file());
    ASSERT_TRUE(daemon.start());
    Client client(programs(), daemon.socket(),
                  {"open", "subscribe n 3 all-nodes", "subscribe a 3 all-adapters"},
                  preloaded(daemon.configuration_file()));
    Received_Events events(client, {1, 2, 3, 4}, {48, 49, 96, 97, 144, 145, 192, 193});
    ASSERT_TRUE(events.wait_line("subscribed a"));
    agents_[1]->change("member-failed", {"n2"});
    ASSERT_TRUE(events.wait_up({1, 2, 3, 4}, {48, 49, 96, 144, 145, 192, 193}));

    client.order("prepare");
    ASSERT_TRUE(events.wait_line("prepared"));
    change_on_all("member-failed", "n3"); // read from the daemon, and unread on the prepared monitors
    ASSERT_TRUE(events.wait_up({1, 2, 4}, {48, 49, 96, 192, 193}));
    client.order("commit");
    ASSERT_TRUE(events.wait_line("committed"));
    change_on_all("member-failed", "n4"); // reported by the service
    ASSERT_TRUE(events.wait_up({1, 2}, {48, 49, 96}));
    EXPECT_TRUE(daemon.wait_stopped());

    change_on_all("member-join", "n3");
    ASSERT_TRUE(events.wait_up({1, 2, 3}, {48, 49, 96, 144, 145}));
    agents_[1]->change("member-join", {"n2"});
    change_on_all("member-leave", "n3");
    ASSERT_TRUE(events.wait_up({1, 2}, {48, 49, 96, 97}));
    for (const auto &[event, times] : std::map<std::string, int>{{"death adapters 97", 1},
                                                                 {"join adapters 97", 1},
                                                                 {"death nodes 3", 2},
                                                                 {"join nodes 3", 1},
                                                                 {"death adapters 144", 2},
                                                                 {"death nodes 4", 1},
                                                                 {"death adapters 192", 1},
                                                                 {"join nodes 4", 0},
                                                                 {"death nodes 2", 0}}) {
        EXPECT_EQ(times, events.count(event)) << event << events.account();
    }
    EXPECT_THAT(events.contradictions(), IsEmpty()) << events.account();
    EXPECT_TRUE(client.end());
}

// ---- Without a daemon ----

TEST_P(Serf_Service_Programs, AProgramThatStartsWithoutADaemonReceivesTheClusterAndItsEvents) {
    serve(3);
    std::ofstream(directory_.file("serf.toml")) << file();
    const std::unique_ptr<Child_Process> example = start_example(directory_.file("serf.toml"));
    for (const char *line :
         {"watching", "Hb_Config_Group: event 128", "nodes: event 4 node 1 node 2 node 3",
          "adapters: event 4 adapter 48 adapter 49 adapter 96 adapter 97 adapter 144 adapter 145"}) {
        ASSERT_EQ(line, example->read_line()) << example->error_output();
    }
    agents_[0]->change("member-failed", {"n2"});
    EXPECT_EQ("adapters: event 1 adapter 96", example->read_line());
    agents_[0]->change("member-join", {"n2"});
    EXPECT_EQ("adapters: event 2 adapter 96", example->read_line());
    EXPECT_EQ("", example->error_output());
}

TEST_P(Serf_Service_Programs, WithoutItsFileNoServiceIsInstalled) {
    const std::unique_ptr<Child_Process> example = start_example("");
    const std::optional<Child_End> end = example->wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(1, end->exit_status);
    EXPECT_THAT(example->error_output(),
                HasSubstr("libqz_mox_serf: no cluster service is installed: HB_MOX_SERF_CONFIG is not set; "
                          "expected the path of a file with [source] type = \"serf\"\n"));
}

TEST_P(Serf_Service_Programs, AFileOfAnotherSourceIsRejected) {
    const std::string path = directory_.file("corosync.toml");
    std::ofstream(path) << "[source]\ntype = \"corosync\"\n";
    const std::unique_ptr<Child_Process> example = start_example(path);
    ASSERT_TRUE(example->wait());
    EXPECT_THAT(
        example->error_output(),
        HasSubstr("libqz_mox_serf: no cluster service is installed: " + path +
                  ": does not name Serf as the source; expected a file with [source] type = \"serf\"\n"));
}

SYSTEM_TESTS(Serf_Service_Programs);

} // namespace
} // namespace hb_test
