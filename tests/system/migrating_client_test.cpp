// SPDX-License-Identifier: Apache-2.0
// A client leaves the daemon for the cluster service while nodes and adapters die and return. Daemon and
// service learn of each change at different times, and the client reads at random times. A model computes every
// event that the client must receive, each once.
#include <algorithm>
#include <deque>
#include <iterator>
#include <random>
#include <set>
#include <utility>

#include <gtest/gtest.h>

#include "tests/system/migration_model.h"
#include "tests/system/moving_client.h"

namespace hb_test {
namespace {

using Events = std::vector<std::string>;

const Who_Is_Up EVERYBODY = {{1, 2, 3, 4, 5, 6}, {48, 49, 96, 97, 144, 145, 192, 193, 240, 241, 288, 289}};
const Events AT_START = {"new-group n 1 2 3 4 5 6", "new-group a 48 49 96 97 144 145 192 193 240 241 288 289"};

// The results of the queries, from either source. The order of the adapters differs between tables.
void expect_whole_configuration(Client &client, const std::string &networks) {
    client.order("configuration");
    const Events lines = client.lines_until("end of configuration");
    EXPECT_EQ("local 1 nodes 6 networks " + networks + " adapters 12", lines.front());
    EXPECT_EQ("nodes 1 2 3 4 5 6", lines.size() > 1 ? lines[1] : "");
    std::multiset<std::string> adapters;
    std::copy_if(lines.begin(), lines.end(), std::inserter(adapters, adapters.end()),
                 [](const std::string &line) { return line.starts_with("adapter "); });
    EXPECT_EQ(
        (std::multiset<std::string>{"adapter 48 node 1 10.0.0.1 eth0", "adapter 49 node 1 10.1.0.1 eth1",
                                    "adapter 96 node 2 10.0.0.2 eth0", "adapter 97 node 2 10.1.0.2 eth1",
                                    "adapter 144 node 3 10.0.0.3 eth0", "adapter 145 node 3 10.1.0.3 eth1",
                                    "adapter 192 node 4 10.0.0.4 eth0", "adapter 193 node 4 10.1.0.4 eth1",
                                    "adapter 240 node 5 10.0.0.5 eth0", "adapter 241 node 5 10.1.0.5 eth1",
                                    "adapter 288 node 6 10.0.0.6 eth0", "adapter 289 node 6 10.1.0.6 eth1"}),
        adapters);
}

// ---- Storms ----

// The fixed course of a storm; chance decides the rest.
struct Course {
    unsigned seed;
    bool daemon_is_killed = false; // between preparation and commit
    bool given_up_before = false;  // a first preparation was aborted
    bool reads_by_itself = false;  // until the commit
};

// The situations at the commits of all storms, so that a storm in which nothing can go wrong is noticed.
struct Seen_At_Commits {
    int unread_of_daemon = 0;
    int told_by_difference = 0;
    int records_waiting = 0;
};

class Storm {
  public:
    Storm(const Setup &setup, const Course &course, Seen_At_Commits &seen)
        : random_(course.seed), course_(course), seen_(seen), moving_(setup), model_(EVERYBODY) {}

    void run();

  private:
    enum class Mode { daemon, prepared, service };

    void prepare();
    void commit();
    void go_on(int moments);
    void something_happens();
    void daemon_hears();
    void service_hears();
    void client_reads_some();
    void client_reads_all();
    void expect_read(const Events &events);
    Events events_before(const std::string &line);
    void take(const Events &events);
    std::size_t chance(std::size_t below) { return random_() % below; }

    std::mt19937 random_;
    Course course_;
    Seen_At_Commits &seen_;
    Moving_Client moving_;
    Migration_Model model_;
    Client_View view_;
    Events read_by_itself_; // after the commit
    Who_Is_Up truth_ = EVERYBODY;
    std::deque<Change> daemon_has_to_hear_;
    std::deque<Change> service_has_to_hear_;
    Mode mode_ = Mode::daemon;
};

void Storm::run() {
    const Events start = moving_.take(AT_START.size());
    ASSERT_EQ(AT_START, start);
    take(start);
    expect_whole_configuration(moving_.client(), "2");

    if (course_.reads_by_itself) {
        ASSERT_EQ("resumed", moving_.client().ask("resume"));
    }
    go_on(40);
    if (course_.given_up_before) {
        prepare();
        go_on(10);
        ASSERT_EQ("aborted", moving_.client().ask("abort"));
        model_.give_up();
        mode_ = Mode::daemon;
        go_on(10);
    }
    prepare();
    go_on(static_cast<int>(chance(20)));
    commit();
    go_on(40);
    if (!course_.daemon_is_killed) {
        EXPECT_TRUE(moving_.daemon().wait_stopped());
    }
    go_on(40);

    while (!service_has_to_hear_.empty()) {
        service_hears();
    }
    client_reads_all();
    EXPECT_EQ(truth_, view_.who());
    EXPECT_EQ(truth_, model_.table());
    expect_whole_configuration(moving_.client(), "48");
    EXPECT_TRUE(moving_.client().end());
}

void Storm::prepare() {
    moving_.client().order("prepare");
    expect_read(events_before("prepared"));
    model_.prepare();
    mode_ = Mode::prepared;
}

void Storm::commit() {
    if (course_.daemon_is_killed) {
        moving_.daemon().kill();
    }
    moving_.client().order("commit");
    expect_read(events_before("committed"));
    seen_.unread_of_daemon += model_.waiting() > 0;
    seen_.records_waiting += model_.records_waiting() > 0;
    model_.commit();
    seen_.told_by_difference += model_.waiting() > 1;
    mode_ = Mode::service;
    if (course_.reads_by_itself) {
        moving_.client().order("pause");
        read_by_itself_ = events_before("paused");
        client_reads_all();
    }
}

void Storm::go_on(int moments) {
    for (int moment = 0; moment < moments && !testing::Test::HasFatalFailure(); ++moment) {
        switch (chance(mode_ == Mode::service ? 7 : 8)) {
        case 0:
        case 1:
        case 2:
            something_happens();
            break;
        case 3:
        case 4:
            service_hears();
            break;
        case 5:
            client_reads_some();
            break;
        default:
            mode_ == Mode::service ? client_reads_all() : daemon_hears();
        }
    }
}

// Nodes 2 to 4 die and return. On nodes 5 and 6 either adapter dies and returns, but never both at once.
void Storm::something_happens() {
    const auto node = static_cast<unsigned>(2 + chance(5));
    Change change{Change::Of::node, node, !truth_.nodes.contains(node)};
    if (node > 4) {
        const unsigned adapter = node * SLOTS + static_cast<unsigned>(chance(2));
        const unsigned other = 2 * node * SLOTS + 1 - adapter;
        change = {Change::Of::adapter, adapter, !truth_.adapters.contains(adapter)};
        if (!change.up && !truth_.adapters.contains(other)) {
            change = {Change::Of::adapter, other, true};
        }
    }
    change.make_in(truth_);
    daemon_has_to_hear_.push_back(change);
    service_has_to_hear_.push_back(change);
}

void Storm::daemon_hears() {
    if (!daemon_has_to_hear_.empty()) {
        EXPECT_TRUE(moving_.daemon_is_told(daemon_has_to_hear_.front().command()));
        model_.daemon_tells(daemon_has_to_hear_.front());
        daemon_has_to_hear_.pop_front();
    }
}

void Storm::service_hears() {
    if (!service_has_to_hear_.empty()) {
        EXPECT_TRUE(moving_.service_is_told(service_has_to_hear_.front().command()));
        model_.service_tells(service_has_to_hear_.front());
        service_has_to_hear_.pop_front();
    }
}

void Storm::client_reads_some() {
    const bool reads_now = course_.reads_by_itself && mode_ != Mode::service;
    if (model_.waiting() > 0 && !reads_now) {
        expect_read(moving_.take(1 + chance(model_.waiting())));
    }
}

// The next events of those whose order is known.
void Storm::expect_read(const Events &events) {
    ASSERT_GE(model_.waiting(), events.size());
    ASSERT_EQ(model_.read(events.size()), events);
    take(events);
}

// The lines that a client that reads by itself prints before the answer to a command.
Events Storm::events_before(const std::string &line) {
    Events lines = moving_.client().lines_until(line);
    EXPECT_EQ(line, lines.back());
    lines.pop_back();
    Events events;
    for (const std::string &told : lines) {
        if (const std::string event = in_short(told); !event.empty()) {
            events.push_back(event);
        }
    }
    return events;
}

void Storm::client_reads_all() {
    const Events waiting = model_.read(model_.waiting());
    const Migration_Model::Rest rest = model_.read_rest();
    Events events;
    std::swap(events, read_by_itself_);
    const Events drained = moving_.drain();
    events.insert(events.end(), drained.begin(), drained.end());
    ASSERT_LE(waiting.size(), events.size());
    const auto behind = events.begin() + static_cast<std::ptrdiff_t>(waiting.size());
    ASSERT_EQ(waiting, Events(events.begin(), behind));
    Events of_nodes;
    Events of_adapters;
    std::partition_copy(behind, events.end(), std::back_inserter(of_adapters), std::back_inserter(of_nodes),
                        [](const std::string &event) {
                            return event.ends_with(" 240") || event.ends_with(" 241") ||
                                   event.ends_with(" 288") || event.ends_with(" 289");
                        });
    ASSERT_EQ(rest.of_nodes, of_nodes);
    ASSERT_EQ(rest.of_adapters, of_adapters);
    take(events);
    EXPECT_EQ(model_.table(), view_.who());
}

void Storm::take(const Events &events) {
    for (const std::string &event : events) {
        view_.take(event);
    }
}

class Migrating_Client : public testing::TestWithParam<Setup> {
  protected:
    void run(unsigned storms, Course course) {
        Seen_At_Commits seen;
        for (course.seed = 1; course.seed <= storms && !HasFailure(); ++course.seed) {
            SCOPED_TRACE("seed " + std::to_string(course.seed));
            Storm(GetParam(), course, seen).run();
        }
        EXPECT_LT(0, seen.records_waiting);
        if (!course.reads_by_itself) { // otherwise the client decides when it reads
            EXPECT_LT(0, seen.unread_of_daemon);
            EXPECT_LT(0, seen.told_by_difference);
        }
    }
};

TEST_P(Migrating_Client, IsToldEveryEventOnceThroughAStorm) {
    run(10, {});
}

TEST_P(Migrating_Client, IsToldEveryEventOnceWhenTheDaemonIsKilledBetweenPreparationAndCommit) {
    Course course{};
    course.daemon_is_killed = true;
    run(40, course);
}

TEST_P(Migrating_Client, IsToldEveryEventOnceAfterAMoveThatWasGivenUp) {
    Course course{};
    course.given_up_before = true;
    run(10, course);
}

TEST_P(Migrating_Client, IsToldEveryEventOnceWhenItReadsByItself) {
    Course course{};
    course.reads_by_itself = true;
    run(10, course);
}

SYSTEM_TESTS(Migrating_Client);

} // namespace
} // namespace hb_test
