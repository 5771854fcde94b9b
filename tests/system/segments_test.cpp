// Routes and keys in shared memory, read by many processes while wispd changes them.
#include <gtest/gtest.h>

#include <sys/sem.h>

#include <algorithm>
#include <csignal>

#include "tests/system/client.h"
#include "tests/system/clusters.h"

namespace hb_test {
namespace {

constexpr int READERS_INSIDE = 0;
constexpr int WRITER = 1;
constexpr int CHANGES = 40; // that every reader has to see

class Segments : public testing::TestWithParam<Setup> {
  protected:
    void SetUp() override { ASSERT_TRUE(daemon.start()); }
    void TearDown() override {
        readers.clear();
        EXPECT_TRUE(daemon.stop());
    }

    std::unique_ptr<ChildProcess> reader(const Programs &programs, std::vector<std::string> words) const {
        words.insert(words.begin(), programs.path("segment_reader"));
        return std::make_unique<ChildProcess>(
            words, ChildProcess::Environment{
                       {"HB_SERVER_SOCKET", daemon.socket()}, {"HA_DOMAIN_NAME", ""}, {"HA_SYSPAR_NAME", ""}});
    }
    // Two of each program of the setup, one of the two interrupted all the time.
    void start_readers(const std::vector<std::string> &words) {
        for (const Programs &programs : GetParam().clients) {
            std::vector<std::string> interrupted = words;
            interrupted.push_back("signals");
            readers.push_back(reader(programs, words));
            readers.push_back(reader(programs, interrupted));
        }
        for (const auto &each : readers) {
            ASSERT_EQ(each->read_line(), "ready") << each->error_output();
        }
    }
    void expect_good_ends() {
        for (const auto &each : readers) {
            each->close_input();
            EXPECT_TRUE(each->read_until("readings"));
            const std::optional<ChildEnd> end = each->wait();
            EXPECT_TRUE(end && end->signal == 0 && end->exit_status == 0) << each->error_output();
        }
    }
    // Every reader's last line, after its input was closed.
    void expect_whole_readings() {
        for (const auto &each : readers) {
            each->close_input();
        }
        for (const auto &each : readers) {
            std::string last;
            while (const std::optional<std::string> line = each->read_line()) {
                last = *line;
            }
            EXPECT_EQ(last, "readings 1 torn 0 failed 0") << each->error_output();
        }
    }
    // Makes `change` happen until each reader has seen so many of them.
    template <typename Change> void change_until_all_have_seen(int count, Change change) {
        std::vector<int> seen(readers.size());
        const Deadline deadline(std::chrono::seconds(300));
        while (std::any_of(seen.begin(), seen.end(), [&](int one) { return one < count; })) {
            ASSERT_FALSE(deadline.over());
            change();
            for (std::size_t i = 0; i < readers.size(); ++i) {
                while (readers[i]->read_line(Deadline(std::chrono::milliseconds(0)))) {
                    ++seen[i];
                }
            }
        }
    }
    // The route to node 3 goes over network 1 while adapter 2 of this node is down, else over network 0.
    void change_routes() {
        EXPECT_TRUE(
            daemon.tells(down ? R"({"do":"adapter-up","adapter":2})" : R"({"do":"adapter-down","adapter":2})"));
        down = !down;
    }
    int semaphore(unsigned short number) const { return semctl(daemon.ipc_ids()[3], number, GETVAL); }
    testing::AssertionResult semaphores_come_to_rest() const {
        if (wait_until([&] { return semaphore(READERS_INSIDE) == 0 && semaphore(WRITER) == 0; })) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure()
               << "the semaphores are " << semaphore(READERS_INSIDE) << " and " << semaphore(WRITER);
    }

    Daemon daemon{GetParam().daemon,
                  replaced(small_cluster_file(), "2001:db8::3", "10.2.0.3") + "[security]\n"};
    std::vector<std::unique_ptr<ChildProcess>> readers;
    bool down = false;
};

TEST_P(Segments, RoutesAreNeverTornHoweverManyReadAndAreInterrupted) {
    start_readers({"routes", "3"});
    change_until_all_have_seen(CHANGES, [&] { change_routes(); });
    expect_whole_readings();
    EXPECT_TRUE(semaphores_come_to_rest());
}

TEST_P(Segments, ReadersThatAreKilledLeaveNobodyCountedIn) {
    start_readers({"routes", "3"});
    for (int round = 0; round < 5; ++round) {
        std::vector<std::unique_ptr<ChildProcess>> victims;
        for (const Programs &programs : GetParam().clients) {
            victims.push_back(reader(programs, {"routes", "3"}));
        }
        for (const auto &victim : victims) {
            ASSERT_EQ(victim->read_line(), "ready") << victim->error_output();
            change_routes();
            victim->send_signal(SIGKILL); // wherever it is
        }
    }
    change_until_all_have_seen(CHANGES, [&] { change_routes(); });
    expect_whole_readings();
    EXPECT_TRUE(semaphores_come_to_rest());
}

TEST_P(Segments, AReaderThatIsKilledInsideLetsTheWriterIn) {
    std::vector<std::unique_ptr<ChildProcess>> inside;
    for (const Programs &programs : GetParam().clients) {
        inside.push_back(reader(programs, {"inside"}));
        ASSERT_EQ(inside.back()->read_line(), "inside") << inside.back()->error_output();
    }
    EXPECT_EQ(semaphore(READERS_INSIDE), static_cast<int>(inside.size()));
    change_routes();
    EXPECT_TRUE(wait_until([&] { return semaphore(WRITER) == 1; })) << "the writer does not ask for its turn";
    for (const auto &each : inside) {
        each->send_signal(SIGKILL);
    }
    EXPECT_TRUE(semaphores_come_to_rest());
    readers.push_back(reader(GetParam().clients.front(), {"routes", "3"}));
    ASSERT_EQ(readers.back()->read_line(), "ready");
    change_until_all_have_seen(1, [&] { change_routes(); });
    expect_whole_readings();
}

TEST_P(Segments, AReaderThatStaysInsideStopsNobodyForLong) {
    const auto stayer = reader(GetParam().clients.front(), {"inside"});
    ASSERT_EQ(stayer->read_line(), "inside") << stayer->error_output();
    change_routes();
    EXPECT_TRUE(wait_until([&] { return semaphore(WRITER) == 1; }));
    start_readers({"routes", "3"}); // they wait for the writer, which gives up its turn
    expect_whole_readings();
    stayer->send_signal(SIGKILL);
    EXPECT_TRUE(semaphores_come_to_rest());
}

TEST_P(Segments, KeysAreNeverTornWhileTheyAreRotated) {
    start_readers({"keys"});
    change_until_all_have_seen(CHANGES, [&] { EXPECT_TRUE(daemon.tells(R"({"do":"rotate-key"})")); });
    expect_whole_readings();
}

SYSTEM_TESTS(Segments);

} // namespace
} // namespace hb_test
