// SPDX-License-Identifier: Apache-2.0
// hb_exporter with a real daemon that dies, stops and returns.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <httplib.h>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/system/clusters.h"
#include "tests/system/daemon.h"

namespace hb_test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

struct Answer {
    int status = 0; // 0: none
    std::string type;
    std::string body;
};

class Exporter {
  public:
    explicit Exporter(const Daemon &daemon,
                      const std::vector<std::string> &options = {"--listen", "127.0.0.1:0"})
        : process_(command(daemon, options)) {}

    // Waits for the line that names the address.
    testing::AssertionResult serves() {
        const std::string before = "hb_exporter: serving ";
        while (const std::optional<std::string> line = process_.read_line()) {
            if (line->starts_with(before)) {
                url_ = line->substr(before.size(), line->rfind('/') - before.size());
                return testing::AssertionSuccess();
            }
        }
        return testing::AssertionFailure() << "it does not serve";
    }

    // An answer has to come while the daemon is stopped as well: nothing continues the daemon meanwhile.
    Answer get(const std::string &path, const std::string &accept = "*/*") const {
        httplib::Client client(url_);
        client.set_read_timeout(GENEROUS);
        const httplib::Result result = client.Get(path, {{"Accept", accept}});
        if (!result) {
            ADD_FAILURE() << "no answer to " << path << ": " << httplib::to_string(result.error());
            return {};
        }
        return {result->status, result->get_header_value("Content-Type"), result->body};
    }

    std::string metrics() const { return get("/metrics").body; }

    // Waits until the metrics have this line.
    testing::AssertionResult shows(const std::string &line) const {
        std::string text;
        const bool found = wait_until([&] {
            text = metrics();
            return text.find("\n" + line + "\n") != std::string::npos;
        });
        return found ? testing::AssertionSuccess()
                     : testing::AssertionFailure() << "no line " << line << " in\n"
                                                   << text;
    }

    testing::AssertionResult ends_by_one_signal() {
        process_.send_signal(SIGTERM);
        const std::optional<Child_End> end = process_.wait();
        if (!end || end->signal != 0 || end->exit_status != 0) {
            return testing::AssertionFailure() << (end ? "it failed" : "it does not end") << process_.output();
        }
        return testing::AssertionSuccess();
    }

    Child_Process &process() { return process_; }
    const std::string &url() const { return url_; }

  private:
    static std::vector<std::string> command(const Daemon &daemon, const std::vector<std::string> &options) {
        std::vector<std::string> words{
            "/bin/sh",  "-c",           "exec \"$@\" 2>&1", "sh", programs_of_this_build().path("hb_exporter"),
            "--socket", daemon.socket()};
        words.insert(words.end(), options.begin(), options.end());
        return words;
    }

    Child_Process process_;
    std::string url_;
};

class ExporterTest : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(daemon.start());
        ASSERT_TRUE(exporter.serves());
        ASSERT_TRUE(exporter.shows("hb_up 1"));
    }

    Daemon daemon{programs_of_this_build(), small_cluster_file()};
    Exporter exporter{daemon};
};

TEST_F(ExporterTest, ShowsTheConfigurationAndEveryState) {
    EXPECT_THAT(
        exporter.metrics(),
        AllOf(HasSubstr("\nhb_nodes_configured 4\n"),
              HasSubstr("\nhb_node_up{node=\"1\"} 1\nhb_node_up{node=\"2\"} 1\nhb_node_up{node=\"3\"} 1\n"
                        "hb_node_up{node=\"4\"} 0\n"),
              HasSubstr("\nhb_adapter_up{adapter=\"7\",node=\"3\",network=\"1\",type=\"eth1\","
                        "address=\"2001:db8::3\"} 1\n"),
              HasSubstr("\nhb_adapter_up{adapter=\"8\",node=\"4\",network=\"0\",type=\"eth0\","
                        "address=\"10.1.0.4\"} 0\n"),
              HasSubstr("\nhb_network_info{network=\"0\",name=\"net_a\",type=\"ether\"} 1\n"
                        "hb_network_info{network=\"1\",name=\"net_b\",type=\"token\"} 1\n"),
              HasSubstr("\nhb_reconnects_total 0\n"), HasSubstr("\n# EOF\n")));
    EXPECT_TRUE(exporter.ends_by_one_signal());
    EXPECT_TRUE(daemon.stop());
}

TEST_F(ExporterTest, ShowsADeathAndAReturn) {
    EXPECT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    EXPECT_TRUE(exporter.shows("hb_node_up{node=\"3\"} 0"));
    EXPECT_TRUE(exporter.shows("hb_events_total{event=\"death\"} 2")); // of its adapters, and of the node
    EXPECT_THAT(exporter.metrics(),
                HasSubstr("hb_adapter_up{adapter=\"6\",node=\"3\",network=\"0\",type=\"eth0\","
                          "address=\"10.1.0.3\"} 0\n"));
    EXPECT_EQ(exporter.get("/health").body, "ok: wispd answers, 2 of 4 nodes are up\n");
    EXPECT_TRUE(daemon.tells(R"({"do":"node-up","node":3})"));
    EXPECT_TRUE(exporter.shows("hb_node_up{node=\"3\"} 1"));
    EXPECT_TRUE(exporter.shows("hb_events_total{event=\"join\"} 2"));
}

TEST_F(ExporterTest, FollowsAChangeOfTheConfiguration) {
    EXPECT_THAT(exporter.metrics(), HasSubstr("hb_adapter_up{adapter=\"5\""));
    EXPECT_TRUE(daemon.tells(R"({"do":"adapter-leave","adapter":5})"));
    EXPECT_TRUE(exporter.shows("hb_events_total{event=\"configuration\"} 1"));
    EXPECT_THAT(exporter.metrics(), AllOf(Not(HasSubstr("hb_adapter_up{adapter=\"5\"")),
                                          HasSubstr("hb_adapter_up{adapter=\"4\""), HasSubstr("\nhb_up 1\n")));
}

TEST_F(ExporterTest, ReportsAKilledDaemonAndItsReturn) {
    daemon.kill();
    EXPECT_TRUE(exporter.shows("hb_up 0"));
    EXPECT_THAT(exporter.metrics(), AllOf(Not(HasSubstr("hb_node_up")), Not(HasSubstr("hb_adapter_up"))));
    const Answer lost = exporter.get("/health");
    EXPECT_EQ(lost.status, 503);
    EXPECT_THAT(lost.body, StartsWith("no contact with wispd: it last answered "));
    ASSERT_TRUE(daemon.start());
    EXPECT_TRUE(exporter.shows("hb_up 1"));
    EXPECT_TRUE(exporter.shows("hb_reconnects_total 1"));
    EXPECT_TRUE(exporter.shows("hb_node_up{node=\"3\"} 1"));
    const Answer found = exporter.get("/health");
    EXPECT_EQ(found.status, 200);
    EXPECT_EQ(found.body, "ok: wispd answers, 3 of 4 nodes are up\n");
}

TEST_F(ExporterTest, ReportsAStoppedDaemonAndItsReturnOnTheSameConnection) {
    daemon.send_signal(SIGSTOP);
    EXPECT_TRUE(exporter.shows("hb_up 0"));
    EXPECT_EQ(exporter.get("/health").status, 503);
    daemon.send_signal(SIGCONT);
    EXPECT_TRUE(exporter.shows("hb_up 1"));
    // The questions that detect a stopped daemon are no events of the cluster.
    EXPECT_THAT(exporter.metrics(),
                AllOf(HasSubstr("\nhb_reconnects_total 0\n"), HasSubstr("\nhb_sequence_gaps_total 0\n"),
                      HasSubstr("\nhb_malformed_events_total 0\n"),
                      HasSubstr("\nhb_events_total{event=\"new-group\"} 2\n")));
}

TEST_F(ExporterTest, OneSignalEndsItWhileTheDaemonIsStopped) {
    daemon.send_signal(SIGSTOP);
    EXPECT_TRUE(exporter.shows("hb_up 0"));
    EXPECT_TRUE(exporter.ends_by_one_signal());
}

TEST_F(ExporterTest, AnswersAndEndsWhileAStoppedDaemonKeepsItFromOpening) {
    daemon.send_signal(SIGSTOP);
    Exporter late(daemon);
    ASSERT_TRUE(late.serves());
    EXPECT_TRUE(late.shows("hb_reconnects_total 0"));
    EXPECT_THAT(late.metrics(), HasSubstr("\nhb_up 0\n"));
    EXPECT_EQ(late.get("/health").body, "no contact with wispd so far\n");
    EXPECT_TRUE(late.ends_by_one_signal());
}

TEST_F(ExporterTest, ServesTheFormatThatTheClientNames) {
    const std::string openmetrics = "application/openmetrics-text; version=1.0.0; charset=utf-8";
    EXPECT_EQ(exporter.get("/metrics").type, openmetrics);
    EXPECT_EQ(exporter.get("/metrics", "application/openmetrics-text;version=1.0.0,text/plain;q=0.5").type,
              openmetrics);
    const Answer old = exporter.get("/metrics", "text/plain;version=0.0.4");
    EXPECT_EQ(old.type, "text/plain; version=0.0.4; charset=utf-8");
    EXPECT_THAT(old.body, AllOf(HasSubstr("# TYPE hb_events_total counter\n"), Not(HasSubstr("# EOF"))));
    const Answer absent = exporter.get("/absent");
    EXPECT_EQ(absent.status, 404);
    EXPECT_EQ(absent.body, "hb_exporter serves /metrics and /health\n");
}

TEST_F(ExporterTest, ASecondOneDoesNotShareTheAddress) {
    const std::string address = exporter.url().substr(std::string("http://").size());
    Exporter second(daemon, {"--listen", address});
    const std::optional<Child_End> end = second.process().wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->exit_status, 1);
    EXPECT_EQ(second.process().output(), "hb_exporter: cannot listen on " + address +
                                             ": Address already in use (choose another address or port with "
                                             "--listen)\n");
}

TEST(ExporterBeforeTheDaemon, WaitsForIt) {
    Daemon daemon(programs_of_this_build(), small_cluster_file());
    Exporter exporter(daemon);
    ASSERT_TRUE(exporter.serves());
    EXPECT_THAT(exporter.metrics(),
                AllOf(HasSubstr("\nhb_up 0\n"), Not(HasSubstr("hb_daemon_contact_seconds"))));
    ASSERT_TRUE(daemon.start());
    EXPECT_TRUE(exporter.shows("hb_up 1"));
    EXPECT_TRUE(exporter.shows("hb_reconnects_total 0"));
}

std::string contents(const std::string &path) {
    const std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

testing::AssertionResult file_shows(const std::string &path, const std::string &line) {
    const auto has_line = [&] { return contents(path).find("\n" + line + "\n") != std::string::npos; };
    return wait_until(has_line) ? testing::AssertionSuccess()
                                : testing::AssertionFailure() << "no line " << line << " in\n"
                                                              << contents(path);
}

TEST(ExporterTextFile, FollowsTheClusterAndIsRemovedAtTheEnd) {
    Daemon daemon(programs_of_this_build(), small_cluster_file());
    ASSERT_TRUE(daemon.start());
    const Temp_Dir directory;
    const std::string path = directory.file("hb.prom");
    // Only a change can write the file again before the test ends.
    Exporter exporter(daemon, {"--textfile", path, "--interval", "86400"});
    EXPECT_TRUE(file_shows(path, "hb_up 1"));
    EXPECT_TRUE(daemon.tells(R"({"do":"node-down","node":2})"));
    EXPECT_TRUE(file_shows(path, "hb_node_up{node=\"2\"} 0"));
    EXPECT_THAT(contents(path), AllOf(HasSubstr("# TYPE hb_events_total counter\n"), Not(HasSubstr("# EOF"))));
    daemon.send_signal(SIGSTOP);
    EXPECT_TRUE(file_shows(path, "hb_up 0"));
    daemon.send_signal(SIGCONT);
    EXPECT_TRUE(file_shows(path, "hb_up 1"));
    EXPECT_TRUE(exporter.ends_by_one_signal());
    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST(ExporterTextFile, IsWrittenAgainAfterEachInterval) {
    Daemon daemon(programs_of_this_build(), small_cluster_file()); // never started
    const Temp_Dir directory;
    const std::string path = directory.file("hb.prom");
    Exporter exporter(daemon, {"--textfile", path, "--interval", "1"});
    const auto written = [&] { return std::filesystem::exists(path); };
    ASSERT_TRUE(wait_until(written));
    std::filesystem::remove(path);
    EXPECT_TRUE(wait_until(written));
}

TEST(ExporterTextFile, IsRejectedWhereItCannotBeWritten) {
    Daemon daemon(programs_of_this_build(), small_cluster_file()); // never started
    const Temp_Dir directory;
    const std::string path = directory.file("absent/hb.prom");
    Exporter exporter(daemon, {"--textfile", path});
    const std::optional<Child_End> end = exporter.process().wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->exit_status, 1);
    EXPECT_EQ(exporter.process().output(),
              "hb_exporter: cannot write " + path + ".tmp: No such file or directory\n");
}

} // namespace
} // namespace hb_test
