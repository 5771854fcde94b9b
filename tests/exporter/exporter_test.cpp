// SPDX-License-Identifier: Apache-2.0
// hb_exporter with a real daemon that dies, stops and returns.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <httplib.h>
#include <mutex>
#include <netinet/in.h>
#include <poll.h>
#include <regex>
#include <set>
#include <sstream>
#include <sys/socket.h>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/unique_fd.h"
#include "tests/system/clusters.h"
#include "tests/system/daemon.h"

namespace hb_test {
namespace {

using testing::AllOf;
using testing::AnyOf;
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
                url_ = line->substr(before.size(), line->find("/,") - before.size());
                return testing::AssertionSuccess();
            }
        }
        return testing::AssertionFailure() << "it does not serve";
    }

    // Waits for a line that begins so.
    testing::AssertionResult logs(const std::string &begin) {
        while (const std::optional<std::string> line = process_.read_line()) {
            if (line->starts_with(begin)) {
                return testing::AssertionSuccess();
            }
        }
        return testing::AssertionFailure() << "no line: " << begin;
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

std::string contents(const std::string &path) {
    const std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// A connection that sends what the test says, or nothing.
class Raw_Connection {
  public:
    explicit Raw_Connection(const std::string &url, int flags = 0)
        : descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<std::uint16_t>(std::stoi(url.substr(url.rfind(':') + 1))));
        const int result =
            connect(descriptor_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address);
        EXPECT_TRUE(result == 0 || (flags == SOCK_NONBLOCK && errno == EINPROGRESS));
    }

    bool is_connected(const Deadline &deadline) const {
        pollfd ready{descriptor_.get(), POLLOUT, 0};
        return poll(&ready, 1, deadline.milliseconds_left()) == 1 && ready.revents == POLLOUT;
    }

    // The service may have closed the connection.
    void send(const std::string &text) const {
        ::send(descriptor_.get(), text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    }

  private:
    Unique_Fd descriptor_;
};

class ExporterTest : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(daemon.start());
        ASSERT_TRUE(exporter.serves());
        ASSERT_TRUE(exporter.shows("hb_up 1"));
        ASSERT_TRUE(exporter.shows("hb_engine_state{state=\"none\"} 1")); // the names came as well
    }

    Daemon daemon{programs_of_this_build(), small_cluster_file()};
    Exporter exporter{daemon};
};

TEST_F(ExporterTest, ShowsTheConfigurationAndEveryState) {
    EXPECT_THAT(
        exporter.metrics(),
        AllOf(HasSubstr("\nhb_nodes_configured 4\n"),
              HasSubstr("\nhb_node_up{node=\"1\",name=\"alpha\"} 1\nhb_node_up{node=\"2\",name=\"beta\"} "
                        "1\nhb_node_up{node=\"3\",name=\"gamma\"} 1\n"
                        "hb_node_up{node=\"4\",name=\"delta\"} 0\n"),
              HasSubstr("\nhb_adapter_up{adapter=\"7\",node=\"3\",network=\"1\",type=\"eth1\","
                        "address=\"2001:db8::3\",name=\"gamma/net_b\"} 1\n"),
              HasSubstr("\nhb_adapter_up{adapter=\"8\",node=\"4\",network=\"0\",type=\"eth0\","
                        "address=\"10.1.0.4\",name=\"delta/net_a\"} 0\n"),
              HasSubstr("\nhb_network_info{network=\"0\",name=\"net_a\",type=\"ether\"} 1\n"
                        "hb_network_info{network=\"1\",name=\"net_b\",type=\"token\"} 1\n"),
              HasSubstr("\nhb_reconnects_total 0\n"), HasSubstr("\n# EOF\n")));
    EXPECT_TRUE(exporter.ends_by_one_signal());
    EXPECT_TRUE(daemon.stop());
}

TEST_F(ExporterTest, ShowsADeathAndAReturn) {
    EXPECT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    EXPECT_TRUE(exporter.shows("hb_node_up{node=\"3\",name=\"gamma\"} 0"));
    EXPECT_TRUE(exporter.shows("hb_events_total{event=\"death\"} 2")); // of its adapters, and of the node
    EXPECT_THAT(exporter.metrics(),
                HasSubstr("hb_adapter_up{adapter=\"6\",node=\"3\",network=\"0\",type=\"eth0\","
                          "address=\"10.1.0.3\",name=\"gamma/net_a\"} 0\n"));
    EXPECT_EQ(exporter.get("/health").body, "ok: wispd answers, 2 of 4 nodes are up\n");
    EXPECT_TRUE(daemon.tells(R"({"do":"node-up","node":3})"));
    EXPECT_TRUE(exporter.shows("hb_node_up{node=\"3\",name=\"gamma\"} 1"));
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
    EXPECT_TRUE(exporter.shows("hb_node_up{node=\"3\",name=\"gamma\"} 1"));
    const Answer found = exporter.get("/health");
    EXPECT_EQ(found.status, 200);
    EXPECT_EQ(found.body, "ok: wispd answers, 3 of 4 nodes are up\n");
}

TEST_F(ExporterTest, ReportsAStoppedDaemonAndItsReturnOnTheSameConnection) {
    daemon.send_signal(SIGSTOP);
    EXPECT_TRUE(exporter.shows("hb_up 0"));
    EXPECT_EQ(exporter.get("/health").status, 503);
    // The page and the metrics may know it a millisecond earlier.
    EXPECT_TRUE(exporter.logs("hb_exporter: no answer from the heartbeat daemon at " + daemon.socket() +
                              " for 2.0 s; check whether wispd is stopped"));
    daemon.send_signal(SIGCONT);
    EXPECT_TRUE(exporter.shows("hb_up 1"));
    EXPECT_TRUE(exporter.logs("hb_exporter: the heartbeat daemon at " + daemon.socket() +
                              " answers again; it sent nothing for "));
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
    EXPECT_EQ(absent.body, "hb_exporter serves the live page at /, /metrics and /health\n");
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

TEST_F(ExporterTest, ShowsTheStateOfTheEngineAndTheVersionOfWispd) {
    EXPECT_TRUE(exporter.shows("hb_engine_state{state=\"none\"} 1"));
    EXPECT_THAT(exporter.metrics(),
                AllOf(HasSubstr("\nhb_engine_state{state=\"connected\"} 0\n"),
                      HasSubstr("\nhb_wispd_info{version=\"1.0.0\",cluster=\"small\"} 1\n"),
                      HasSubstr("\nhb_wispd_start_timestamp_seconds "), HasSubstr("\nhb_last_event_seconds ")));
}

// A panel without data would go unnoticed until the day when it is needed.
TEST_F(ExporterTest, ExportsEachMetricThatTheDashboardAndTheAlertRulesName) {
    const std::string metrics = exporter.metrics();
    for (const char *path : {HB_TEST_DASHBOARD, HB_TEST_RULES}) {
        const std::string text = contents(path);
        const std::regex name(R"(\bhb_[a-z_]+\b)");
        std::set<std::string> named;
        for (auto at = std::sregex_iterator(text.begin(), text.end(), name); at != std::sregex_iterator();
             ++at) {
            named.insert(at->str());
        }
        named.erase("hb_exporter");
        EXPECT_GE(named.size(), 4U) << path;
        for (const std::string &metric : named) {
            EXPECT_THAT(metrics, AnyOf(HasSubstr("\n" + metric + " "), HasSubstr("\n" + metric + "{"))) << path;
        }
    }
    EXPECT_TRUE(nlohmann::json::accept(contents(HB_TEST_DASHBOARD)));
}

TEST_F(ExporterTest, ServesThePageWithAPolicyAgainstForeignScripts) {
    httplib::Client client(exporter.url());
    const httplib::Result page = client.Get("/");
    ASSERT_TRUE(page);
    EXPECT_EQ(page->status, 200);
    EXPECT_EQ(page->get_header_value("Content-Type"), "text/html; charset=utf-8");
    EXPECT_THAT(page->get_header_value("Content-Security-Policy"), HasSubstr("default-src 'none'"));
    EXPECT_EQ(page->get_header_value("X-Content-Type-Options"), "nosniff");
    EXPECT_EQ(page->get_header_value("Cache-Control"), "no-store");
    EXPECT_THAT(page->body, StartsWith("<!doctype html>\n"));
    const httplib::Result head = client.Head("/events");
    ASSERT_TRUE(head);
    EXPECT_EQ(head->status, 200);
}

TEST_F(ExporterTest, IsReadOnly) {
    httplib::Client client(exporter.url());
    for (const char *path : {"/", "/events", "/metrics", "/health", "/absent"}) {
        const std::vector<httplib::Result> results = [&] {
            std::vector<httplib::Result> answers;
            answers.push_back(client.Post(path, "x=1", "application/x-www-form-urlencoded"));
            answers.push_back(client.Put(path, "x", "text/plain"));
            answers.push_back(client.Delete(path));
            answers.push_back(client.Options(path));
            return answers;
        }();
        for (const httplib::Result &result : results) {
            ASSERT_TRUE(result) << path;
            EXPECT_EQ(result->status, 405) << path;
            EXPECT_EQ(result->get_header_value("Allow"), "GET, HEAD");
        }
    }
}

// A page of another site can lead its own name to this machine; its scripts could then read every answer.
TEST_F(ExporterTest, RejectsAForeignHostName) {
    httplib::Client client(exporter.url());
    for (const char *path : {"/", "/events", "/metrics", "/health"}) {
        const httplib::Result foreign = client.Get(path, {{"Host", "evil.example:9782"}});
        ASSERT_TRUE(foreign) << path;
        EXPECT_EQ(foreign->status, 403) << path;
        EXPECT_EQ(foreign->body, "hb_exporter serves this machine alone: use the name localhost\n");
    }
    const httplib::Result own = client.Get("/health", {{"Host", "localhost:80"}});
    ASSERT_TRUE(own);
    EXPECT_EQ(own->status, 200);
}

// Each range is a copy of the answer: a short request must not make a long one.
TEST_F(ExporterTest, IgnoresRanges) {
    std::string ranges = "bytes=0-";
    for (int range = 0; range < 100; ++range) {
        ranges += ",0-";
    }
    httplib::Client client(exporter.url());
    for (const char *path : {"/", "/metrics", "/health"}) {
        const httplib::Result result = client.Get(path, {{"Range", ranges}});
        ASSERT_TRUE(result) << path;
        EXPECT_EQ(result->status, 200) << path;
        EXPECT_FALSE(result->has_header("Content-Range")) << path;
        EXPECT_THAT(result->get_header_value("Content-Type"), Not(HasSubstr("multipart"))) << path;
    }
}

// One viewer of the page, which reads what it receives.
class Viewer {
  public:
    explicit Viewer(const std::string &url) : client_(url), thread_([this] { read(); }) {}
    ~Viewer() {
        ends_ = true;
        client_.stop();
        thread_.join();
    }

    int status() const { return status_; }
    bool has_received(const std::string &text) const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return received_.find(text) != std::string::npos;
    }

  private:
    void read() {
        client_.set_read_timeout(GENEROUS);
        client_.Get(
            "/events",
            [this](const httplib::Response &response) {
                status_ = response.status;
                return true;
            },
            [this](const char *data, std::size_t size) {
                const std::lock_guard<std::mutex> lock(mutex_);
                received_.append(data, size);
                return !ends_;
            });
    }

    httplib::Client client_;
    std::atomic<int> status_{0};
    std::atomic<bool> ends_{false};
    mutable std::mutex mutex_;
    std::string received_;
    std::thread thread_;
};

TEST_F(ExporterTest, ThePageListsEachLossAndReturnOfContact) {
    const Viewer viewer(exporter.url());
    EXPECT_TRUE(wait_until([&] { return viewer.has_received("\"up\":true"); }));
    EXPECT_FALSE(viewer.has_received("\"no-answer\""));
    daemon.send_signal(SIGSTOP);
    EXPECT_TRUE(wait_until([&] {
        return viewer.has_received(
            "\"event\":\"no-answer\",\"what\":\"wispd has sent nothing for 2.0 s\",\"failure\":\"\"");
    }));
    EXPECT_FALSE(viewer.has_received("\"answers-again\""));
    daemon.send_signal(SIGCONT);
    EXPECT_TRUE(wait_until(
        [&] { return viewer.has_received("\"event\":\"answers-again\",\"what\":\"wispd sent nothing for "); }));
    EXPECT_TRUE(exporter.shows("hb_up 1"));
    EXPECT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    EXPECT_TRUE(wait_until([&] { return viewer.has_received("node gamma"); }));
}

TEST_F(ExporterTest, ThePageHasTheHeartbeatSettingsInTheWordsOfHbctl) {
    const Viewer viewer(exporter.url());
    EXPECT_TRUE(daemon.tells(
        R"({"do":"heartbeat","threshold_seconds":2,"threshold_microseconds":500000,"enabled":true})"));
    EXPECT_TRUE(wait_until(
        [&] { return viewer.has_received(R"("event":"heartbeat","what":"enabled, threshold 2.5 s")"); }));
}

TEST_F(ExporterTest, FiftyViewersSeeADeathAndNoScrapeWaitsForThem) {
    std::vector<std::unique_ptr<Viewer>> viewers;
    for (int viewer = 0; viewer < 50; ++viewer) {
        viewers.push_back(std::make_unique<Viewer>(exporter.url()));
    }
    const auto all_received = [&viewers](const std::string &text) {
        return wait_until([&] {
            return std::all_of(viewers.begin(), viewers.end(),
                               [&text](const auto &viewer) { return viewer->has_received(text); });
        });
    };
    EXPECT_TRUE(all_received("\"nodes\":\"uuud\""));
    EXPECT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    std::chrono::steady_clock::duration longest{};
    for (int scrape = 0; scrape < 50; ++scrape) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_THAT(exporter.metrics(), HasSubstr("\nhb_up 1\n"));
        longest = std::max(longest, std::chrono::steady_clock::now() - start);
    }
    EXPECT_LT(longest, std::chrono::seconds(1));
    EXPECT_TRUE(all_received("\"nodes\":\"uudd\""));
}

TEST_F(ExporterTest, TooManyViewersAreRejectedAndPlacesBecomeFreeAgain) {
    {
        std::vector<std::unique_ptr<Viewer>> viewers;
        for (int viewer = 0; viewer < 70; ++viewer) {
            viewers.push_back(std::make_unique<Viewer>(exporter.url()));
        }
        const auto with_status = [&viewers](int status) {
            return std::count_if(viewers.begin(), viewers.end(),
                                 [status](const auto &viewer) { return viewer->status() == status; });
        };
        EXPECT_TRUE(wait_until([&] { return with_status(200) == 64 && with_status(503) == 6; }));
        EXPECT_THAT(exporter.metrics(), HasSubstr("\nhb_up 1\n"));
    }
    EXPECT_TRUE(wait_until([this] {
        const Viewer late(exporter.url());
        wait_until([&late] { return late.status() != 0; });
        return late.status() == 200;
    }));
}

TEST_F(ExporterTest, ConnectionsThatSendNothingDoNotDelayAScrape) {
    std::vector<std::unique_ptr<Raw_Connection>> silent;
    for (int connection = 0; connection < 40; ++connection) {
        silent.push_back(std::make_unique<Raw_Connection>(exporter.url()));
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THAT(exporter.metrics(), HasSubstr("\nhb_up 1\n"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

// A connection that finds no room tries again after a second, so a burst would delay a scrape.
TEST_F(ExporterTest, ABurstOfConnectionsFindsRoomWhileNoneIsAccepted) {
    exporter.process().send_signal(SIGSTOP);
    const Deadline deadline(std::chrono::seconds(10));
    std::vector<std::unique_ptr<Raw_Connection>> burst;
    for (int connection = 0; connection < 100; ++connection) {
        burst.push_back(std::make_unique<Raw_Connection>(exporter.url(), SOCK_NONBLOCK));
    }
    EXPECT_TRUE(std::all_of(burst.begin(), burst.end(), [&deadline](const auto &connection) {
        return connection->is_connected(deadline);
    }));
    exporter.process().send_signal(SIGCONT);
    EXPECT_THAT(exporter.metrics(), HasSubstr("\nhb_up 1\n"));
}

// Each byte arrives in time, but the requests never end. They are more than the service has threads.
TEST_F(ExporterTest, RequestsThatArriveSlowlyDoNotKeepAScrapeWaiting) {
    std::vector<std::unique_ptr<Raw_Connection>> slow;
    const auto each_sends_a_byte = [&slow] {
        for (const auto &connection : slow) {
            connection->send("x");
        }
    };
    for (int connection = 0; connection < 200; ++connection) {
        slow.push_back(std::make_unique<Raw_Connection>(exporter.url()));
        slow.back()->send("GET /metrics HTTP/1.1\r\nX: ");
        each_sends_a_byte();
    }
    std::promise<void> end;
    std::thread sender([&each_sends_a_byte, ended = end.get_future()] {
        while (ended.wait_for(std::chrono::milliseconds(200)) != std::future_status::ready) {
            each_sends_a_byte();
        }
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THAT(exporter.metrics(), HasSubstr("\nhb_up 1\n"));
    EXPECT_LT(std::chrono::steady_clock::now() - start,
              std::chrono::seconds(10)); // as long as Prometheus waits
    end.set_value();
    sender.join();
}

TEST_F(ExporterTest, RejectsARequestWhoseHeadIsTooLong) {
    httplib::Client client(exporter.url());
    const auto headers = [](int count) {
        httplib::Headers lines;
        for (int line = 0; line < count; ++line) {
            lines.emplace("X-" + std::to_string(line), std::string(1000, 'x'));
        }
        return lines;
    };
    const httplib::Result ordinary = client.Get("/health", headers(50));
    ASSERT_TRUE(ordinary);
    EXPECT_EQ(ordinary->status, 200);
    const httplib::Result rejected = client.Get("/health", headers(100));
    EXPECT_TRUE(!rejected || rejected->status == 400); // the rest of the head can prevent the answer
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
    EXPECT_TRUE(file_shows(path, "hb_node_up{node=\"2\",name=\"beta\"} 0"));
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
