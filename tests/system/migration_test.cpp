// hbctl leaves a running wispd for the simulated cluster service, or reports that it cannot.
#include <csignal>
#include <fstream>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/system/clusters.h"
#include "tests/system/daemon.h"
#include "tests/system/service_client.h"
#include "tests/system/stream.h"

namespace hb_test {
namespace {

using testing::HasSubstr;

// Three nodes that are up and one that is down. The daemon and the service use the same numbers.
std::string cluster_file() {
    return replaced(small_cluster_file(), "adapters_per_node = 2", "adapters_per_node = 48") +
           "\n[daemon]\nshutdown_delay_seconds = 0.2\n";
}

class Leaving_The_Daemon : public testing::TestWithParam<Setup> {
  protected:
    Leaving_The_Daemon() : daemon_(GetParam().daemon, cluster_file()) {}

    const Programs &programs() const { return GetParam().clients.back(); }

    // Runs hbctl with the service over this cluster file; without a service if the file is empty.
    std::unique_ptr<Child_Process> start_hbctl(const std::vector<std::string> &words,
                                               const std::string &service) {
        std::vector<std::string> line{programs().path("hbctl"), "--socket", daemon_.socket()};
        line.insert(line.end(), words.begin(), words.end());
        Child_Process::Environment environment;
        if (!service.empty()) {
            std::ofstream(directory_.file("service.toml")) << service;
            environment = service_preloaded(programs());
            environment.insert(environment.end(), {{"HB_MOX_SIM_CONFIG", directory_.file("service.toml")},
                                                   {"HB_MOX_SIM_CONTROL", directory_.file("service")}});
        }
        return std::make_unique<Child_Process>(line, environment);
    }

    struct End {
        int status = -1;
        std::string output;
        std::string errors;
    };
    End run_hbctl(const std::vector<std::string> &words, const std::string &service) {
        const std::unique_ptr<Child_Process> hbctl = start_hbctl(words, service);
        hbctl->close_input();
        const std::optional<Child_End> end = hbctl->wait();
        return {end ? end->exit_status : -1, hbctl->output(), hbctl->error_output()};
    }

    void tell_service(const std::string &json) {
        const Stream stream(directory_.file("service"));
        stream.send(json + "\n");
        EXPECT_EQ(R"({"ok":true})", stream.read_line());
    }

    Daemon daemon_;
    Temp_Dir directory_; // for the service's files
};

// ---- migrate --check ----

TEST_P(Leaving_The_Daemon, IsPossibleWhereDaemonAndServiceAgree) {
    ASSERT_TRUE(daemon_.start());
    const End text = run_hbctl({"migrate", "--check"}, cluster_file());
    EXPECT_EQ("cluster service  answers\n"
              "local node       agrees: 1\n"
              "nodes            agree: the service knows all of the daemon's 4 nodes\n"
              "migration        possible; nothing was changed\n",
              text.output);
    EXPECT_EQ("", text.errors);
    EXPECT_EQ(0, text.status);
    const End json = run_hbctl({"migrate", "--check", "--json"}, cluster_file());
    EXPECT_EQ(R"({"format":1,"possible":true,"service":true,"local_node":"agrees","nodes":"agrees",)"
              R"("error":null,"reason":null})"
              "\n",
              json.output);
    EXPECT_EQ(0, json.status);
    EXPECT_TRUE(daemon_.running());
    EXPECT_TRUE(daemon_.stop());
}

TEST_P(Leaving_The_Daemon, IsNotPossibleWithoutAService) {
    ASSERT_TRUE(daemon_.start());
    const End end = run_hbctl({"migrate", "--check"}, "");
    EXPECT_EQ("cluster service  the cluster service did not answer (none is installed) (error 63)\n"
              "local node       not compared\n"
              "nodes            not compared\n"
              "migration        not possible; nothing was changed\n",
              end.output);
    EXPECT_EQ(1, end.status);
    EXPECT_TRUE(daemon_.stop());
}

TEST_P(Leaving_The_Daemon, IsNotPossibleWhereTheServiceKnowsThisNodeByAnotherNumber) {
    ASSERT_TRUE(daemon_.start());
    const End end =
        run_hbctl({"migrate", "--check"}, replaced(cluster_file(), "local_node = 1", "local_node = 2"));
    EXPECT_THAT(
        end.output,
        HasSubstr(
            "local node       differs: the cluster service and the daemon give this node different numbers"));
    EXPECT_EQ(1, end.status);
    EXPECT_TRUE(daemon_.stop());
}

TEST_P(Leaving_The_Daemon, IsNotPossibleWhereTheServiceMissesANode) {
    ASSERT_TRUE(daemon_.start());
    const std::string file = cluster_file();
    const End end = run_hbctl({"migrate", "--check"},
                              replaced(file, "number = 3\nname = \"gamma\"", "number = 7\nname = \"gamma\""));
    EXPECT_THAT(end.output, HasSubstr("nodes            differ: a node that the daemon reported is unknown to "
                                      "the cluster service (error 75)\n"));
    EXPECT_EQ(1, end.status);
    EXPECT_TRUE(daemon_.stop());
}

TEST_P(Leaving_The_Daemon, WithoutADaemonThereIsNothingToLeave) {
    const End end = run_hbctl({"migrate", "--check"}, "");
    EXPECT_THAT(end.errors, HasSubstr("no heartbeat daemon listens at"));
    EXPECT_EQ(1, end.status);
}

// ---- watch --migrate-after ----

// The content of a line, without its number and time.
std::string told(const std::optional<std::string> &line) {
    constexpr std::size_t in_front = 22;
    return line && line->size() > in_front ? line->substr(in_front) : line.value_or("[no line]");
}

TEST_P(Leaving_The_Daemon, TheWatcherGoesOnWithTheServiceWhenTheDaemonHasEnded) {
    ASSERT_TRUE(daemon_.start());
    const auto hbctl = start_hbctl({"watch", "--migrate-after", "4"}, cluster_file());
    ASSERT_TRUE(hbctl->read_until("EVENT"));
    EXPECT_THAT(told(hbctl->read_line()), HasSubstr("node group      3 nodes: 1-3"));
    EXPECT_THAT(told(hbctl->read_line()), HasSubstr("adapter group   6 adapters: 48, 49, 96, 97, 144, 145"));
    tell_service(R"({"do":"node-down","node":3})");
    ASSERT_TRUE(daemon_.tells(R"({"do":"node-down","node":3})"));
    EXPECT_THAT(told(hbctl->read_line()), HasSubstr("adapter death   adapters 144"));
    EXPECT_THAT(told(hbctl->read_line()), HasSubstr("node death      node 3"));
    EXPECT_EQ("migration       prepared: the cluster service knows this node and all nodes of the daemon",
              told(hbctl->read_line()));
    EXPECT_EQ("migration       done: events now come from the cluster service; the daemon was asked to stop",
              told(hbctl->read_line()));
    EXPECT_EQ("configuration   now 4 nodes (2 up), 1 network, 7 adapters (4 up)", told(hbctl->read_line()));
    EXPECT_EQ("node group      2 nodes: 1, 2; stable", told(hbctl->read_line()));
    EXPECT_EQ("adapter group   4 adapters: 48, 49, 96, 97; stable", told(hbctl->read_line()));
    EXPECT_TRUE(daemon_.wait_stopped());

    tell_service(R"({"do":"node-up","node":3})");
    EXPECT_EQ("node join       node 3 (gamma, 10.1.0.3, 2001:db8::3)", told(hbctl->read_line()));
    EXPECT_EQ("configuration   now 4 nodes (3 up), 1 network, 7 adapters (4 up)", told(hbctl->read_line()));
    EXPECT_THAT(told(hbctl->read_line()), HasSubstr("adapter join    adapters 144"));
    tell_service(R"({"do":"adapter-down","adapter":97})");
    EXPECT_EQ("adapter death   adapter 97 (beta/MOX_Network 10.2.0.2 eth1)", told(hbctl->read_line()));
    hbctl->send_signal(SIGTERM);
    const std::optional<Child_End> end = hbctl->wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(0, end->exit_status);
    EXPECT_EQ("", hbctl->error_output());
}

TEST_P(Leaving_The_Daemon, TheWatcherStaysWithTheDaemonWhereThereIsNoService) {
    ASSERT_TRUE(daemon_.start());
    const auto hbctl = start_hbctl({"watch", "--json", "--migrate-after", "0"}, "");
    const std::string refused = hbctl->read_line().value_or("");
    EXPECT_THAT(
        refused,
        HasSubstr(R"("event":"migration","step":"refused","error":63,)"
                  R"x("reason":"the cluster service did not answer (none is installed) (error 63)"})x"));
    EXPECT_THAT(hbctl->read_line().value_or(""), HasSubstr(R"("event":"new-group")"));
    EXPECT_THAT(hbctl->read_line().value_or(""), HasSubstr(R"("event":"new-group")"));
    ASSERT_TRUE(daemon_.tells(R"({"do":"adapter-down","adapter":97})"));
    EXPECT_THAT(hbctl->read_line().value_or(""), HasSubstr(R"("event":"death")"));
    EXPECT_TRUE(daemon_.running());
    hbctl->send_signal(SIGTERM);
    EXPECT_TRUE(hbctl->wait());
    EXPECT_TRUE(daemon_.stop());
}

TEST_P(Leaving_The_Daemon, AsJsonEveryStepIsALine) {
    ASSERT_TRUE(daemon_.start());
    const auto hbctl = start_hbctl({"watch", "--json", "--migrate-after", "0", "--count", "3"}, cluster_file());
    EXPECT_THAT(hbctl->read_line().value_or(""),
                HasSubstr(R"("event":"migration","step":"prepared","error":null,"reason":null})"));
    EXPECT_THAT(hbctl->read_line().value_or(""),
                HasSubstr(R"("event":"migration","step":"committed","error":null,"reason":null})"));
    EXPECT_THAT(hbctl->read_line().value_or(""), HasSubstr(R"("event":"configuration")"));
    EXPECT_THAT(hbctl->read_line().value_or(""), HasSubstr(R"("nodes":[1,2,3])"));
    EXPECT_THAT(hbctl->read_line().value_or(""), HasSubstr(R"("event":"new-group")"));
    const std::optional<Child_End> end = hbctl->wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(0, end->exit_status);
    EXPECT_TRUE(daemon_.wait_stopped());
}

SYSTEM_TESTS(Leaving_The_Daemon);

} // namespace
} // namespace hb_test
