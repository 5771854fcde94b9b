// SPDX-License-Identifier: Apache-2.0
// hb::watcher with a real daemon.
#include <cerrno>
#include <csignal>
#include <map>
#include <string>
#include <sys/time.h>
#include <vector>

#include "tests/companion/cluster.h"

namespace hb_test {
namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;
using Numbers = std::vector<long>;

std::string flags_of(bool is_initial, bool is_caught_up, bool is_removed) {
    return std::string(is_initial ? " initial" : "") + (is_caught_up ? " caught-up" : "") +
           (is_removed ? " removed" : "");
}

std::string line_of(const hb::report &report) {
    using std::to_string;
    return std::visit(
        hb::overload{
            [](const hb::reports::current &) { return std::string("current"); },
            [](const hb::reports::unreachable &r) { return "unreachable " + to_string(r.reason.number()); },
            [](const hb::reports::node_joined &r) {
                return "node " + to_string(r.node) + " joined" + flags_of(r.is_initial, r.is_caught_up, false);
            },
            [](const hb::reports::node_died &r) {
                return "node " + to_string(r.node) + " died" + flags_of(false, r.is_caught_up, r.is_removed);
            },
            [](const hb::reports::adapter_joined &r) {
                return "adapter " + to_string(r.adapter) + " joined" +
                       flags_of(r.is_initial, r.is_caught_up, false);
            },
            [](const hb::reports::adapter_died &r) {
                return "adapter " + to_string(r.adapter) + " died" +
                       flags_of(false, r.is_caught_up, r.is_removed);
            },
            [](const hb::reports::configuration_changed &) { return std::string("configuration"); }},
        report);
}

// Returns the next reports as lines, up to and including the last one given.
Lines lines_until(hb::watcher &watcher, const std::string &last) {
    Lines lines;
    while (lines.empty() || lines.back() != last) {
        const hb::result<std::optional<hb::report>> report = watcher.wait(GENEROUS);
        if (!report || !report->has_value()) {
            lines.push_back(report ? "[no report]" : report.error().text());
            break;
        }
        lines.push_back(line_of(**report));
    }
    return lines;
}

hb::watch_options nodes_only() {
    hb::watch_options options;
    options.adapters = false;
    options.retry_min = 5ms;
    options.retry_max = 20ms;
    return options;
}

using CompanionWatcher = SmallCluster;

TEST_F(CompanionWatcher, ReportsFirstWhatIsUp) {
    hb::watcher watcher = hb::watcher::open().value();
    EXPECT_FALSE(watcher.is_current());
    EXPECT_FALSE(watcher.local_node());
    EXPECT_TRUE(watcher.nodes().empty());
    const Lines lines = lines_until(watcher, "current");
    const std::map<std::string, int> found = [&] {
        std::map<std::string, int> counts;
        for (const std::string &line : lines) {
            ++counts[line];
        }
        return counts;
    }();
    EXPECT_EQ(10U, lines.size());
    for (const char *line : {"node 1 joined initial", "node 3 joined initial", "adapter 2 joined initial",
                             "adapter 7 joined initial", "current"}) {
        EXPECT_EQ(1, found.count(line) != 0 ? found.at(line) : 0) << line;
    }
    EXPECT_TRUE(watcher.is_current());
    EXPECT_FALSE(watcher.next());
}

TEST_F(CompanionWatcher, ReportsDeathsAndJoins) {
    hb::watcher watcher = hb::watcher::open(nodes_only()).value();
    lines_until(watcher, "current");
    ASSERT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    const hb::result<hb::report> report = watcher.wait();
    ASSERT_TRUE(report);
    const auto *died = std::get_if<hb::reports::node_died>(&*report);
    ASSERT_NE(died, nullptr);
    EXPECT_EQ(3, died->node);
    EXPECT_FALSE(died->failure.empty());
    EXPECT_FALSE(died->is_caught_up);
    EXPECT_EQ(died->time, died->since);
    EXPECT_LT(std::chrono::system_clock::now() - died->time, GENEROUS);
    EXPECT_GE(std::chrono::system_clock::now(), died->time);
    EXPECT_EQ(hb::entity_state::down, watcher.node_state(3));
    ASSERT_TRUE(daemon.tells(R"({"do":"node-up","node":3})"));
    EXPECT_EQ((Lines{"node 3 joined"}), lines_until(watcher, "node 3 joined"));
    EXPECT_EQ(hb::entity_state::up, watcher.node_state(3));
}

TEST_F(CompanionWatcher, DescribesTheConfiguration) {
    hb::watcher watcher = hb::watcher::open().value();
    lines_until(watcher, "current");
    EXPECT_EQ(1, watcher.local_node());
    EXPECT_EQ((Numbers{1, 2, 3, 4}), numbers_of(watcher.nodes()));
    EXPECT_EQ((Numbers{2, 3, 4, 5, 6, 7, 8}), numbers_of(watcher.adapters()));
    EXPECT_EQ((Numbers{0, 1}), numbers_of(watcher.networks()));
    const auto adapter = watcher.adapter(7);
    ASSERT_TRUE(adapter);
    EXPECT_EQ(7U, adapter->number);
    EXPECT_EQ(3, adapter->node);
    EXPECT_EQ(1, adapter->network);
    EXPECT_EQ(hb::entity_state::up, adapter->state);
    EXPECT_EQ("2001:db8::3", adapter->address.to_string());
    EXPECT_EQ(adapter->type, "eth1");
    EXPECT_FALSE(watcher.adapter(9));
    const auto network = watcher.network(1);
    ASSERT_TRUE(network);
    EXPECT_EQ(network->name, "net_b");
    EXPECT_EQ(network->type, "token");
    EXPECT_FALSE(watcher.network(7));
    EXPECT_EQ(hb::entity_state::down, watcher.node_state(4));
    EXPECT_EQ(hb::entity_state::undefined, watcher.node_state(7));
    EXPECT_EQ(hb::entity_state::down, watcher.adapter_state(8));
    EXPECT_EQ(daemon.socket(), watcher.socket_path());
}

TEST_F(CompanionWatcher, ReportsWhatItMissedWhileNoDaemonRan) {
    hb::watcher watcher = hb::watcher::open(nodes_only()).value();
    lines_until(watcher, "current");
    ASSERT_TRUE(daemon.stop());
    EXPECT_EQ((Lines{"unreachable 16"}), lines_until(watcher, "unreachable 16"));
    EXPECT_FALSE(watcher.is_current());
    EXPECT_EQ(hb::entity_state::up, watcher.node_state(3)) << "the last known state";
    daemon.write_configuration(
        replaced(small_cluster_file(), "name = \"gamma\"", "name = \"gamma\"\nstate = \"down\""));
    ASSERT_TRUE(daemon.start());
    EXPECT_EQ((Lines{"node 3 died caught-up", "current"}), lines_until(watcher, "current"));
}

TEST_F(CompanionWatcher, IsReadWhenItsDescriptorIsReadable) {
    hb::watcher watcher = hb::watcher::open(nodes_only()).value();
    const int descriptor = watcher.descriptor();
    Lines lines;
    while (lines.empty() || lines.back() != "current") {
        ASSERT_TRUE(wait_readable(descriptor));
        if (const std::optional<hb::report> report = watcher.next()) {
            lines.push_back(line_of(*report));
        }
    }
    EXPECT_EQ((Lines{"node 1 joined initial", "node 2 joined initial", "node 3 joined initial", "current"}),
              lines);
    EXPECT_EQ(descriptor, watcher.descriptor());
}

TEST_F(CompanionWatcher, WaitsUntilTheTimeIsOverOrASignalHandlerRuns) {
    hb::watcher watcher = hb::watcher::open(nodes_only()).value();
    lines_until(watcher, "current");
    EXPECT_FALSE(watcher.wait(1ms).value().has_value());
    EXPECT_FALSE(watcher.wait(-1s).value().has_value());
    struct sigaction action = {};
    struct sigaction before = {};
    action.sa_handler = [](int) {};
    ASSERT_EQ(0, sigaction(SIGALRM, &action, &before));
    // Again and again, since the first signal may come before the wait.
    const itimerval often = {{0, 10'000}, {0, 10'000}};
    ASSERT_EQ(0, setitimer(ITIMER_REAL, &often, nullptr));
    const hb::result<hb::report> interrupted = watcher.wait();
    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
    ASSERT_FALSE(interrupted);
    EXPECT_TRUE(interrupted.error().is_interruption());
}

TEST_F(CompanionWatcher, ThatWasMovedFromIsClosed) {
    hb::watcher watcher = hb::watcher::open(nodes_only()).value();
    hb::watcher moved = std::move(watcher);
    EXPECT_FALSE(watcher.is_open());
    EXPECT_EQ(-1, watcher.descriptor());
    EXPECT_FALSE(watcher.next());
    EXPECT_TRUE(watcher.wait().error() == HB_ERROR_NOT_OPEN);
    EXPECT_TRUE(watcher.wait(GENEROUS).error() == HB_ERROR_NOT_OPEN);
    EXPECT_FALSE(watcher.is_current());
    EXPECT_FALSE(watcher.local_node());
    EXPECT_TRUE(watcher.nodes().empty());
    EXPECT_TRUE(watcher.adapters().empty());
    EXPECT_TRUE(watcher.networks().empty());
    EXPECT_EQ(hb::entity_state::undefined, watcher.node_state(1));
    EXPECT_EQ(hb::entity_state::undefined, watcher.adapter_state(2));
    EXPECT_FALSE(watcher.adapter(2));
    EXPECT_FALSE(watcher.network(0));
    EXPECT_STREQ("", watcher.socket_path());
    EXPECT_TRUE(watcher.migrate().error() == HB_ERROR_NOT_OPEN);
    EXPECT_TRUE(watcher.follow_service().error() == HB_ERROR_NOT_OPEN);
    EXPECT_EQ("current", lines_until(moved, "current").back());
    moved.close();
    EXPECT_FALSE(moved.is_open());
}

TEST_F(CompanionWatcher, StaysWithTheDaemonIfThereIsNoService) {
    hb::watcher watcher = hb::watcher::open(nodes_only()).value();
    lines_until(watcher, "current");
    const hb::result<void> moved = watcher.migrate();
    ASSERT_FALSE(moved);
    EXPECT_TRUE(moved.error() == HB_ERROR_CLUSTER_QUERY_FAILED ||
                moved.error() == HB_ERROR_HANDLERS_NOT_CREATED)
        << moved.error().name();
    ASSERT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    EXPECT_EQ((Lines{"node 3 died"}), lines_until(watcher, "node 3 died"));
    hb_terminate();
}

TEST(CompanionWatcherAlone, ReportsThatNoDaemonListens) {
    hb::watch_options options = nodes_only();
    options.socket_path = "/nonexistent/socket";
    hb::watcher watcher = hb::watcher::open(options).value();
    EXPECT_EQ((Lines{"unreachable 15"}), lines_until(watcher, "unreachable 15"));
}

TEST(CompanionWatcherAlone, RejectsWrongOptions) {
    hb::watch_options options;
    EXPECT_EQ(1000ms, options.check_interval);
    EXPECT_EQ(3000ms, options.answer_timeout);
    options.retry_min = -1ms;
    EXPECT_EQ(hb::error::of_system(EINVAL), hb::watcher::open(options).error());
    options = {};
    options.answer_timeout = std::chrono::hours(24 * 365);
    EXPECT_EQ(hb::error::of_system(EINVAL), hb::watcher::open(options).error())
        << "it must not become a short one";
    options = {};
    const std::string path(108, 'p');
    options.socket_path = path.c_str();
    EXPECT_EQ(hb::error::of_system(ENAMETOOLONG), hb::watcher::open(options).error());
}

} // namespace
} // namespace hb_test
