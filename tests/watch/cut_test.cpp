// SPDX-License-Identifier: Apache-2.0
// A daemon whose connection ends, or falls silent, at each byte of a session; or carries one byte at a time, or bytes
// without sense. Each time the watch reports one loss, connects again and ends with the truth.
#include <random>

#include <gtest/gtest.h>

#include "hb_error.h"
#include "tests/protocol/full_listener.h"
#include "tests/support/records.h"
#include "tests/watch/trial.h"

namespace hb_test {
namespace {

using Trials = std::vector<std::unique_ptr<Trial>>;

constexpr int LONG_TIME = 60000;
constexpr std::size_t AT_ONCE = 180; // trials: each has five descriptors
constexpr std::chrono::seconds MUCH_FOR_A_CALL{2};

// Deaths, joins, and a configuration that removes and adds members. What is up afterwards differs from the start.
void events_of_a_session(Inline_Daemon &daemon) {
    daemon.kill_adapters({2, 3});
    daemon.revive_adapters({2, 3});
    daemon.kill_adapters({1});
    daemon.configure({4}, {6, 7});
    daemon.kill_adapters({2, 3});
}

std::unique_ptr<Trial> trial_of(const std::string &name, const Link_Plan &first, int check, int answer) {
    auto trial = std::make_unique<Trial>(name, std::vector<Link_Plan>{first}, check, answer);
    trial->then(events_of_a_session);
    return trial;
}

bool lost_contact(const Trial &trial) {
    return trial.replay().losses() > 0;
}

void expect_good(Trials &trials, unsigned losses, const std::set<int> &reasons) {
    const auto agrees = [losses](const Trial &trial) {
        return trial.agrees() && trial.replay().losses() >= losses;
    };
    EXPECT_EQ(std::vector<std::string>(), run_together(trials, agrees));
    // One more change, so that a report too many is noticed.
    for (const auto &trial : trials) {
        trial->daemon().kill_adapters({6});
    }
    EXPECT_EQ(std::vector<std::string>(), run_together(trials, agrees));
    for (const auto &trial : trials) {
        EXPECT_EQ("", trial->verdict());
        EXPECT_EQ(losses, trial->replay().losses()) << trial->name();
        EXPECT_EQ("adapter 6 died", trial->replay().reports().back().text) << trial->name();
        EXPECT_LT(trial->longest_call(), MUCH_FOR_A_CALL) << trial->name();
        for (const Report &report : trial->replay().reports()) {
            if (report.kind == Report::Kind::unreachable) {
                EXPECT_TRUE(reasons.contains(report.error)) << trial->name() << ": " << report.text;
            }
        }
    }
}

// How many bytes the daemon sends in a session without a fault.
std::size_t bytes_of_a_session() {
    Trials trials;
    trials.push_back(trial_of("whole", {}, 0, LONG_TIME));
    EXPECT_EQ(std::vector<std::string>(),
              run_together(trials, [](const Trial &trial) { return trial.agrees(); }));
    EXPECT_EQ("", trials[0]->verdict());
    EXPECT_EQ(0U, trials[0]->replay().losses());
    return trials[0]->daemon().first_sent();
}

// What a silent daemon does after the watch has reported the loss.
enum class Then { nothing, go_on, hang_up };

void after_the_loss(Trials &trials, Then then) {
    EXPECT_EQ(std::vector<std::string>(), run_together(trials, lost_contact));
    for (const auto &trial : trials) {
        if (then == Then::go_on) {
            trial->daemon().go_on();
        } else {
            trial->daemon().hang_up();
        }
    }
}

// One trial for each byte of a session, some side by side.
void end_at_every_byte(Link_Plan::At_End end, Then then, int check, int answer, int reason) {
    const std::size_t all = bytes_of_a_session();
    ASSERT_GT(all, 1000U);
    for (std::size_t from = 0; from <= all; from += AT_ONCE) {
        Trials trials;
        for (std::size_t bytes = from; bytes <= std::min(all, from + AT_ONCE - 1); ++bytes) {
            Link_Plan plan;
            plan.limited = true;
            plan.bytes = bytes;
            plan.at_end = end;
            trials.push_back(trial_of("ends after byte " + std::to_string(bytes), plan, check, answer));
        }
        if (then != Then::nothing) {
            after_the_loss(trials, then);
        }
        expect_good(trials, 1, {reason});
        if (testing::Test::HasFailure()) {
            return; // the other bytes would say the same
        }
    }
}

TEST(CutConnection, AtEachByteIsOneLossAndThenTheTruth) {
    end_at_every_byte(Link_Plan::At_End::cut, Then::nothing, 0, LONG_TIME, HB_ERROR_DISCONNECTED);
}

// The time-outs are long enough for a busy machine: a trial whose second connection is slow would lose contact twice.
TEST(SilentConnection, ThatEndsAfterEachByteIsOneLossAndThenTheTruth) {
    end_at_every_byte(Link_Plan::At_End::stall, Then::hang_up, 100, 900, HB_ERROR_TIMEOUT);
}

TEST(SilentConnection, ThatGoesOnAfterEachByteIsOneLossAndThenTheTruth) {
    end_at_every_byte(Link_Plan::At_End::stall, Then::go_on, 100, 900, HB_ERROR_TIMEOUT);
}

TEST(SilentConnection, IsReportedWithinTheTimeOut) {
    constexpr std::chrono::milliseconds check{100};
    constexpr std::chrono::milliseconds answer{200};
    constexpr std::chrono::milliseconds busy_machine{3000};
    Trials trials;
    Link_Plan silent;
    silent.limited = true;
    silent.at_end = Link_Plan::At_End::stall;
    const auto began = std::chrono::steady_clock::now();
    trials.push_back(std::make_unique<Trial>("silent", std::vector<Link_Plan>{silent},
                                             static_cast<int>(check.count()),
                                             static_cast<int>(answer.count())));
    EXPECT_EQ(std::vector<std::string>(),
              run_together(trials, [](const Trial &trial) { return trial.replay().losses() == 1; }));
    const auto lasted = std::chrono::steady_clock::now() - began;
    EXPECT_GE(lasted, answer);
    EXPECT_LT(lasted, check + answer + busy_machine);
    const Report &loss = trials[0]->replay().reports().front();
    EXPECT_EQ("unreachable 2", loss.text);
}

// A connection to it would wait. The watch does not: it tries again, and is connected as soon as there is room.
TEST(FullListener, IsUnreachableUntilThereIsRoom) {
    Full_Listener listener; // HB_SERVER_SOCKET names it
    Hb_Watch_Options options;
    hb_watch_default_options(&options);
    options.answer_timeout = 200;
    options.retry_min = 1;
    options.retry_max = 20;
    const Watch_Handle watch(hb_watch_open(&options));
    ASSERT_TRUE(watch);
    Hb_Watch_Report report;
    ASSERT_EQ(1, hb_watch_wait(watch.get(), &report, LONG_TIME));
    EXPECT_EQ("unreachable 2", report_of(report).text);
    EXPECT_EQ(0, hb_watch_wait(watch.get(), &report, 100)); // the loss is reported once
    listener.make_room();
    Unique_Fd connection;
    const Deadline deadline;
    while (!connection && !deadline.over()) {
        EXPECT_EQ(0, hb_watch_wait(watch.get(), &report, 10));
        connection = listener.accept_waiting();
    }
    EXPECT_TRUE(connection);
}

TEST(SlowConnection, OfOneByteAtATimeIsNoLoss) {
    Link_Plan slow;
    slow.one_at_a_time = true;
    Trials trials;
    trials.push_back(trial_of("one byte at a time", slow, 0, LONG_TIME));
    expect_good(trials, 0, {});
}

TEST(Garbage, IsOneLossAndThenTheTruth) {
    std::mt19937 random(20261122);
    for (int round = 0; round < 4; ++round) {
        Trials trials;
        for (std::size_t i = 0; i < AT_ONCE; ++i) {
            Link_Plan plan;
            const std::size_t size = 1 + random() % 400;
            for (std::size_t byte = 0; byte < size; ++byte) {
                plan.instead.u8(static_cast<unsigned>(random()));
            }
            trials.push_back(
                trial_of("garbage " + std::to_string(round) + "." + std::to_string(i), plan, 100, 900));
        }
        after_the_loss(trials, Then::hang_up);
        expect_good(trials, 1, {HB_ERROR_TIMEOUT, HB_ERROR_UNEXPECTED_REPLY});
    }
}

// Each of these replaces the first reply. None can be the beginning of a session.
TEST(WrongRecord, IsOneLossAndThenTheTruth) {
    const Played_Cluster cluster;
    const Bytes good = frame(reply(0, cluster.configuration()));
    const std::vector<std::pair<std::string, Bytes>> all = {
        {"negative length", Bytes().i32(-1)},
        {"length beyond all records", Bytes().i32(6298785)},
        {"shorter than a header", frame(Bytes().zeros(107))},
        {"empty", frame({})},
        {"unknown kind", frame(reply(16))},
        {"configuration without a body", frame(reply(0))},
        {"configuration that ends early", frame(reply(0, cluster.configuration().first(83)))},
        {"too many nodes", frame(reply(0, Bytes(cluster.configuration()).put_i32(4, 2050)))},
        {"too many adapters", frame(reply(0, Bytes(cluster.configuration()).put_i32(12, 2000000000)))},
        {"adapter beyond the limit", frame(reply(0, Bytes(cluster.configuration()).put_i32(20 + 56, 8)))},
        {"an event", cluster.record(5, {1}, 1, "a")},
        {"half of a good one, then the whole", Bytes(good.first(good.size() / 2)).add(good)},
    };
    Trials trials;
    for (const auto &[name, bytes] : all) {
        Link_Plan plan;
        plan.instead = bytes;
        trials.push_back(trial_of(name, plan, 100, 900));
    }
    after_the_loss(trials, Then::hang_up);
    expect_good(trials, 1, {HB_ERROR_TIMEOUT, HB_ERROR_UNEXPECTED_REPLY});
}

} // namespace
} // namespace hb_test
