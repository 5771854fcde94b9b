// SPDX-License-Identifier: Apache-2.0
// The command lines of wispd, wispctl and hbctl: what they print for correct and for wrong input.
#include <algorithm>
#include <csignal>
#include <fstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/environment_guard.h"
#include "tests/system/client.h"
#include "tests/system/clusters.h"

namespace hb_test {
namespace {

struct Outcome {
    int status = -1;
    std::string output;
    std::string errors;
};

Outcome run(const std::vector<std::string> &command) {
    Child_Process process(command, {{"HA_DOMAIN_NAME", ""}, {"HA_SYSPAR_NAME", ""}});
    process.close_input();
    const std::optional<Child_End> end = process.wait();
    EXPECT_TRUE(end && end->signal == 0) << command[0];
    return {end ? end->exit_status : -1, process.output(), process.error_output()};
}

class WispdFile : public testing::Test {
  protected:
    // Starts wispd on this text, which it must reject.
    Outcome refuse(const std::string &text) {
        Daemon daemon(programs_of_this_build(), text);
        Outcome outcome = run({daemon.programs().path("wispd"), "--config", daemon.configuration_file(),
                               "--socket", daemon.socket(), "--foreground"});
        EXPECT_EQ(outcome.status, 2) << outcome.errors;
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(daemon.files_left(), std::vector<std::string>());
        const std::string start = "wispd: " + daemon.configuration_file() + ":";
        EXPECT_EQ(outcome.errors.substr(0, start.size()), start);
        EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1) << outcome.errors;
        outcome.errors.erase(0, std::min(start.size(), outcome.errors.size()));
        return outcome;
    }
};

// The position of the error: "line:column:".
TEST_F(WispdFile, WithASyntaxErrorIsRefusedWithItsPlace) {
    EXPECT_EQ(refuse("[cluster]\nname = \"x\nlocal_node = 1\n").errors.substr(0, 2), "2:");
    EXPECT_EQ(refuse("[cluster\n").errors.substr(0, 2), "1:");
    EXPECT_EQ(refuse("[cluster]\nlocal_node = = 1\n").errors.substr(0, 5), "2:14:");
}

TEST_F(WispdFile, WithAnUnknownKeyIsRefusedByItsName) {
    const std::string errors = refuse(replaced(small_cluster_file(), "instance = 1", "instanze = 1")).errors;
    EXPECT_EQ(errors.substr(0, 2), "6:");
    EXPECT_NE(errors.find("instanze"), std::string::npos) << errors;
}

TEST_F(WispdFile, WithAnAddressUsedTwiceIsRefusedByTheAddress) {
    const std::string errors = refuse(replaced(small_cluster_file(), "10.2.0.2", "10.1.0.1")).errors;
    EXPECT_EQ(errors.substr(0, 6), "39:13:") << errors;
    EXPECT_NE(errors.find("10.1.0.1"), std::string::npos) << errors;
    EXPECT_NE(errors.find("cluster.toml:23:13"), std::string::npos) << errors; // position of the first one
}

TEST_F(WispdFile, WithANodeNumberOutOfRangeIsRefusedByTheNumber) {
    const std::string errors = refuse(replaced(small_cluster_file(), "number = 4", "number = 8")).errors;
    EXPECT_EQ(errors.substr(0, 6), "55:10:") << errors;
    EXPECT_NE(errors.find("node number 8 is out of range"), std::string::npos) << errors;
}

TEST_F(WispdFile, WithAWrongTypeIsRefusedWithWhatWasExpected) {
    const std::string errors =
        refuse(replaced(small_cluster_file(), "max_nodes = 8", "max_nodes = \"8\"")).errors;
    EXPECT_EQ(errors.substr(0, 5), "4:13:") << errors;
    EXPECT_NE(errors.find("max_nodes"), std::string::npos) << errors;
    EXPECT_NE(errors.find("integer"), std::string::npos) << errors;
}

TEST(Wispd, WithoutItsFileSaysWhichOne) {
    const Temp_Dir directory;
    const Outcome outcome = run(
        {programs_of_this_build().path("wispd"), "--config", directory.file("absent.toml"), "--foreground"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.errors.find(directory.file("absent.toml")), std::string::npos) << outcome.errors;
}

Outcome check(const std::string &configuration) {
    const Daemon daemon(programs_of_this_build(), configuration);
    return run({daemon.programs().path("wispd"), "--check", "--config", daemon.configuration_file()});
}

TEST(Wispd, CheckIsSilentAboutAFileItWouldStartOn) {
    const Outcome outcome = check(small_cluster_file());
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output + outcome.errors, "");
}

TEST(Wispd, CheckTellsOfAGroupThatTheSystemDoesNotHave) {
    const Outcome outcome = check(small_cluster_file() + "\n[daemon]\ngroup = \"no-such-group\"\n");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors,
              "wispd: group \"no-such-group\" does not exist; create it, or set group in [daemon] to "
              "another group\n");
}

TEST(Wispd, CheckTellsWhetherThisProgramCanFollowAnEngine) {
    const Outcome outcome = check("[source]\ntype = \"corosync\"\n");
    if (HB_WITH_COROSYNC != 0) {
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_EQ(outcome.errors, "");
    } else {
        EXPECT_EQ(outcome.status, 2);
        EXPECT_NE(
            outcome.errors.find("wispd: [source] type is \"corosync\", but this program was built without "
                                "Corosync"),
            std::string::npos)
            << outcome.errors;
    }
}

TEST(Wispd, WithAPathTooLongForASocketRefuses) {
    Daemon daemon(programs_of_this_build(), small_cluster_file());
    const std::string path = daemon.directory() + "/" + std::string(108 - daemon.directory().size(), 'x');
    const Outcome outcome = run({daemon.programs().path("wispd"), "--config", daemon.configuration_file(),
                                 "--socket", path, "--control", daemon.control(), "--foreground"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.errors.find("107"), std::string::npos) << outcome.errors;
    EXPECT_EQ(daemon.files_left(), std::vector<std::string>());
}

TEST(Wispd, AndItsClientsFindEachOtherByTheEnvironment) {
    Daemon daemon(programs_of_this_build(), small_cluster_file());
    const Child_Process::Environment environment{
        {"HB_SERVER_SOCKET", daemon.file("base")}, {"HA_DOMAIN_NAME", "dom"}, {"HA_SYSPAR_NAME", "other"}};
    daemon.set_environment(environment);
    daemon.name_socket_by_environment("base.dom");
    ASSERT_TRUE(daemon.start());
    Child_Process hbctl({daemon.programs().path("hbctl"), "--json", "status"}, environment);
    EXPECT_NE(hbctl.read_line().value_or("").find("\"socket\":\"" + daemon.socket() + "\""), std::string::npos);
    Child_Process wispctl({daemon.programs().path("wispctl"), "node-down", "3"}, environment);
    const std::optional<Child_End> end = wispctl.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->exit_status, 0) << wispctl.error_output();
    EXPECT_TRUE(daemon.stop());
}

// Ends a wispd that is not a child of the test. The lock file holds its process id.
class Background_End {
  public:
    explicit Background_End(std::string lock) : lock_(std::move(lock)) {}
    Background_End(const Background_End &) = delete;
    Background_End &operator=(const Background_End &) = delete;
    ~Background_End() {
        std::ifstream lock(lock_);
        std::string word;
        pid_t pid = 0;
        if (lock >> word >> pid && word == "pid" && pid > 1) {
            kill(pid, SIGTERM);
            wait_until([&] { return kill(pid, 0) != 0; });
        }
    }

  private:
    std::string lock_;
};

TEST(Wispd, InTheBackgroundServesOnceTheCommandHasReturned) {
    Daemon place(programs_of_this_build(), small_cluster_file());
    place.write_configuration(small_cluster_file() + "\n[daemon]\nlog_file = \"" + place.file("log") + "\"\n");
    const Background_End end(place.socket() + ".lock");
    const Outcome started = run(
        {place.programs().path("wispd"), "--config", place.configuration_file(), "--socket", place.socket()});
    EXPECT_EQ(started.status, 0) << started.errors;
    EXPECT_EQ(started.errors, "");
    const Ipc_Ids ids = place.ipc_ids();
    EXPECT_EQ(existing(ids).size(), 4u);
    Client client(place.programs(), place.socket(), {"open", "totals"});
    EXPECT_EQ(client.lines(2), (std::vector<std::string>{"opened", "local 1 nodes 4 networks 2 adapters 7"}));
    EXPECT_NE(place.log().find("listening on " + place.socket()), std::string::npos);
    const Outcome stopped = run({place.programs().path("wispctl"), "--socket", place.socket(), "stop"});
    EXPECT_EQ(stopped.status, 0) << stopped.errors;
    EXPECT_TRUE(client.end());
    EXPECT_EQ(existing(ids), std::vector<std::string>());
    EXPECT_EQ(place.files_left(), std::vector<std::string>());
}

class Wispctl : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(daemon.start());
        client = std::make_unique<Client>(
            daemon.programs(), daemon.socket(),
            std::vector<std::string>{"open", "subscribe n 519 all-nodes", "subscribe a 7 all-adapters",
                                     "subscribe i 256 instances", "subscribe ready 4 nodes 1"});
        client->lines_until("event 3 new-group ready nodes 1 status 0");
    }
    void TearDown() override {
        client.reset();
        if (daemon.running()) {
            EXPECT_TRUE(daemon.stop());
        }
    }

    Outcome wispctl(const std::vector<std::string> &words) const {
        std::vector<std::string> line{daemon.programs().path("wispctl"), "--control", daemon.control()};
        line.insert(line.end(), words.begin(), words.end());
        return run(line);
    }

    void does(const std::vector<std::string> &words, const std::vector<std::string> &events) {
        const Outcome outcome = wispctl(words);
        EXPECT_EQ(outcome.status, 0) << words[0] << ": " << outcome.errors;
        EXPECT_EQ(outcome.errors, "");
        EXPECT_EQ(client->lines(events.size()), events) << words[0];
    }

    void fails(int status, const std::vector<std::string> &words, const std::string &why) {
        const Outcome outcome = wispctl(words);
        EXPECT_EQ(outcome.status, status) << outcome.errors;
        EXPECT_EQ(outcome.output, "");
        EXPECT_NE(outcome.errors.find(why), std::string::npos) << outcome.errors;
    }

    Daemon daemon{programs_of_this_build(), small_cluster_file()};
    std::unique_ptr<Client> client;
};

TEST_F(Wispctl, EveryVerbDoesWhatItSays) {
    does({"node-down", "3"}, {"event 4 death a adapters 6@1 7@1", "event 5 death n nodes 3 id #1"});
    does({"node-up", "3"}, {"event 6 join a adapters 6@2 7@2", "event 7 join n nodes 3"});
    does({"adapter-down", "5"}, {"event 8 death a adapters 5@1"});
    does({"adapter-up", "5"}, {"event 9 join a adapters 5@2"});
    does({"node-leave", "4"}, {"event 10 configuration Hb_Config_Group"});
    does({"node-join", "4"},
         {"event 11 configuration Hb_Config_Group", "event 12 join a adapters 8@1", "event 13 join n nodes 4"});
    does({"adapter-leave", "8"}, {"event 14 death a adapters 8@1-removed", "event 15 death n nodes 4 id #2",
                                  "event 16 configuration Hb_Config_Group"});
    does({"adapter-join", "9", "--address", "10.2.0.4", "--type", "eth1"},
         {"event 17 configuration Hb_Config_Group", "event 18 join a adapters 9@1", "event 19 join n nodes 4"});
    does({"ffdc", "fan failed"}, {"event 20 ffdc Hb_FFDC_Group id fan failed"});
    does({"ffdc"}, {"event 21 ffdc Hb_FFDC_Group id #3"});
    does({"foreign-instance", "10.7.0.1", "12"}, {"event 22 different-instance i from 10.7.0.1 instance 12"});
    does({"heartbeat", "2.5", "--disable"},
         {"event 23 heartbeat n threshold 2s 500000us enabled 0 pid " + std::to_string(daemon.pid())});
    daemon.write_configuration(replaced(small_cluster_file(), "net_b", "net_z"));
    does({"reconfigure"}, {"event 24 death a adapters 9@1-removed", "event 25 death n nodes 4 id #4",
                           "event 26 configuration Hb_Config_Group"});
    does({"stop"}, {"failed event 16"});
    EXPECT_TRUE(daemon.wait_stopped());
}

TEST_F(Wispctl, NodesAndAdaptersHaveNames) {
    does({"node-down", "gamma"}, {"event 4 death a adapters 6@1 7@1", "event 5 death n nodes 3 id #1"});
    does({"adapter-down", "beta/net_b"}, {"event 6 death a adapters 5@1"});
    does({"node-leave", "delta"}, {"event 7 configuration Hb_Config_Group"});
    does({"node-join", "delta"},
         {"event 8 configuration Hb_Config_Group", "event 9 join a adapters 8@1", "event 10 join n nodes 4"});
}

TEST_F(Wispctl, WhatDoesNotApplyIsRefusedWithTheReason) {
    fails(1, {"node-down", "4"}, "node 4 is down already");
    fails(1, {"node-up", "7"}, "wispctl: node 7 is not configured (nodes: 1-4)\n");
    fails(1, {"adapter-up", "9"}, "wispctl: adapter 9 is not configured (adapters: 2-8)\n");
    fails(1, {"node-down", "omega"},
          "wispctl: node omega is not configured (nodes: alpha, beta, gamma, delta)\n");
    fails(1, {"node-up", "8"}, "wispctl: node 8 is not configured (nodes: 1-4)\n");
    fails(1, {"node-join", "7"}, "node 7 is unknown");
    fails(1, {"node-leave", "1"}, "node 1 is the local node");
    fails(1, {"adapter-join", "9"}, "give its address");
    fails(1, {"adapter-join", "9", "--address", "10.1.0.1"}, "address 10.1.0.1 already belongs to adapter 2");
    fails(1, {"adapter-join", "9", "--address", "10.1.0"}, "\"10.1.0\" is not an address");
    fails(1, {"foreign-instance", "10.7.0.1", "1"}, "instance 1 is this cluster's own");
    fails(1, {"reconfigure", daemon.file("absent.toml")}, "absent.toml");
    // No client received any of it.
    does({"ffdc", "end"}, {"event 4 ffdc Hb_FFDC_Group id end"});
}

TEST_F(Wispctl, MisuseExits2) {
    fails(2, {"node-sideways", "3"}, "wispctl: unknown command 'node-sideways'; wispctl --help lists them\n");
    fails(2, {"--sideways"}, "wispctl: unknown option '--sideways'; wispctl --help lists them\n");
    fails(2, {"node-down"}, "node");
    fails(2, {"node-down", ""}, "node");
    fails(2, {"node-down", "99999999999999999999"}, "99999999999999999999");
    fails(2, {}, "required");
    fails(2, {"state", "--timeout", "0"}, "wispctl: --timeout: '0' is not a number of seconds above 0");
    fails(2, {"state", "--timeout", "nan"}, "'nan' is not a number of seconds above 0");
}

TEST_F(Wispctl, StateIsOneJsonDocumentOfTheModel) {
    const Outcome outcome = wispctl({"state"});
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    const nlohmann::json state = nlohmann::json::parse(outcome.output);
    EXPECT_EQ(state["cluster"], "small");
    EXPECT_EQ(state["local_node"], 1);
    EXPECT_EQ(state["nodes"].size(), 4u);
    EXPECT_EQ(state["nodes"][3]["state"], "down");
    EXPECT_EQ(state["nodes"][1]["adapters"][1]["address"], "10.2.0.2");
    EXPECT_EQ(state["networks"][1]["name"], "net_b");
    EXPECT_EQ(state["clients"].size(), 1u);
    EXPECT_EQ(state["clients"][0]["pid"], client->pid());
    EXPECT_EQ(state["clients"][0]["subscriptions"].size(), 4u);
}

TEST_F(Wispctl, TheControlSocketAnswersEveryLineAndSaysWhatItDoesNotUnderstand) {
    for (const char *line : {"nonsense", "{}", "[1]", R"({"do":"fly"})", R"({"do":"node-down","node":"3"})",
                             R"({"do":"node-down","node":3,"speed":4})"}) {
        const nlohmann::json answer = nlohmann::json::parse(daemon.tell(line));
        EXPECT_EQ(answer["ok"], false) << line;
        EXPECT_NE(answer["error"], "") << line;
    }
    EXPECT_NE(daemon.tell(R"({"do":"fly"})").find("fly"), std::string::npos);
    EXPECT_NE(daemon.tell(R"({"do":"node-down","node":3,"speed":4})").find("speed"), std::string::npos);
}

TEST(WispctlAlone, WithoutADaemonSaysSoInOneLineAndExits1) {
    const Temp_Dir directory;
    const Outcome outcome =
        run({programs_of_this_build().path("wispctl"), "--control", directory.file("nobody"), "state"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_NE(outcome.errors.find("no heartbeat daemon listens at " + directory.file("nobody")),
              std::string::npos)
        << outcome.errors;
    EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1) << outcome.errors;
}

TEST(WispdAlone, NamesTheOptionThatItDoesNotKnow) {
    const Outcome outcome = run({programs_of_this_build().path("wispd"), "--sideways"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.errors, "wispd: unknown option '--sideways'; wispd --help lists them\n");
}

TEST(WispdTimeline, ThatIsBrokenIsRefusedAtTheStartWithItsPlace) {
    Daemon daemon(programs_of_this_build(), small_cluster_file() + "\n[source]\ntimeline = \"t.toml\"\n");
    daemon.write_file("t.toml", "[[event]]\nafter = 1\ndo = \"fly\"\n");
    const Outcome outcome = run({daemon.programs().path("wispd"), "--config", daemon.configuration_file(),
                                 "--socket", daemon.socket(), "--foreground"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.errors.find("t.toml:3:6: "), std::string::npos) << outcome.errors;
    EXPECT_NE(outcome.errors.find("fly"), std::string::npos) << outcome.errors;
    EXPECT_EQ(daemon.files_left(), std::vector<std::string>());
}

TEST(Hbctl, WithoutADaemonSaysSoInOneLineAndExits1) {
    const Temp_Dir directory;
    const std::string path = directory.file("nobody");
    const Environment_Guard socket("HB_SERVER_SOCKET", path);
    for (const char *verb : {"status", "nodes", "networks", "adapters", "sites", "watch"}) {
        const Outcome outcome = run({programs_of_this_build().path("hbctl"), verb});
        EXPECT_EQ(outcome.status, 1) << verb;
        EXPECT_EQ(outcome.output, "") << verb;
        EXPECT_EQ(outcome.errors, "hbctl: no heartbeat daemon listens at " + path +
                                      " (HB_SERVER_SOCKET or --socket changes the path)\n");
    }
}

TEST(Hbctl, MisuseExits2) {
    const std::vector<std::vector<std::string>> misuses{
        {}, {"nonsense"}, {"watch", "--count", "0"}, {"status", "--nonsense"}};
    for (const std::vector<std::string> &words : misuses) {
        std::vector<std::string> line{programs_of_this_build().path("hbctl")};
        line.insert(line.end(), words.begin(), words.end());
        const Outcome outcome = run(line);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.output, "");
        EXPECT_NE(outcome.errors, "");
    }
}

} // namespace
} // namespace hb_test
