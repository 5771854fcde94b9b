// SPDX-License-Identifier: Apache-2.0
// The writer and readers of the route segment, with the real semaphores.
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <sys/wait.h>
#include <unistd.h>

#include <asio/io_context.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cluster/address.h"
#include "daemon/publisher/route_writer.h"
#include "tests/support/deadline.h"
#include "tests/support/unique_fd.h"
#include "tests/unit/wispd/bytes_by_hand.h"
#include "tests/unit/wispd/log_fixture.h"
#include "tests/unit/wispd/segments_fixture.h"

namespace {

using wispd::Node_Route;
using wispd::Route_Writer;
using wispd::Routes;
using wispd::Shared_Segments;
using wispd_test::hex;
using wispd_test::join;
using wispd_test::zeros;

constexpr int READERS = 0;
constexpr int WRITER = 1;

bool enter(int semaphores, int flags = 0) {
    sembuf in[2] = {{READERS, 1, static_cast<short>(SEM_UNDO | flags)}, {WRITER, 0, static_cast<short>(flags)}};
    return semop(semaphores, in, 2) == 0;
}

void leave(int semaphores) {
    sembuf out = {READERS, -1, SEM_UNDO};
    EXPECT_EQ(semop(semaphores, &out, 1), 0);
}

Node_Route route(const char *from, const char *to) {
    Node_Route made;
    made.length = 2;
    made.hops.sr_address[0] = wispd::parse_address(from).value();
    made.hops.sr_address[1] = wispd::parse_address(to).value();
    return made;
}

class WispdRouteWriter : public wispd_test::WispdSegments {
  protected:
    static constexpr wispd::Route_Patience LONG{std::chrono::microseconds(200), std::chrono::hours(1),
                                                std::chrono::hours(1)};
    static constexpr wispd::Route_Patience SHORT{std::chrono::microseconds(200), std::chrono::milliseconds(5),
                                                 std::chrono::milliseconds(5)};

    static constexpr wispd::Route_Patience QUICK{std::chrono::microseconds(200), std::chrono::hours(1),
                                                 std::chrono::hours(1), 2, std::chrono::milliseconds(5)};

    semid_ds status_of_set() {
        semid_ds status{};
        EXPECT_EQ(semctl(semaphores(), 0, IPC_STAT, &status), 0);
        return status;
    }

    WispdRouteWriter() : segments_(Shared_Segments::create(keys_, {}).value()) {
        routes_.resize(3);
        attached_ = shmat(segment('h'), nullptr, SHM_RDONLY);
    }
    ~WispdRouteWriter() override { detach(); }

    // Holds the segment like a reader while the object exists.
    void detach() {
        if (attached_ != nullptr) {
            shmdt(std::exchange(attached_, nullptr));
        }
    }

    bool runs_until(const std::function<bool()> &condition) {
        return hb_test::wait_until([&] {
            context_.poll();
            context_.restart();
            return condition();
        });
    }

    asio::io_context context_;
    Shared_Segments segments_;
    Routes routes_;
    const void *attached_ = nullptr;
};

TEST_F(WispdRouteWriter, WritesEveryRecordAndThenTheGeneration) {
    routes_[1] = route("10.1.0.1", "10.1.0.2");
    routes_[2] = route("10.1.0.1", "fd00::3");
    routes_[2].is_ip = false;
    Route_Writer writer(context_, segments_, routes_);
    writer.publish();
    EXPECT_TRUE(writer.is_current());
    EXPECT_EQ(content('g'), hex("01000000 01080000 00000000"));
    EXPECT_EQ(content('h'),
              join(zeros(184), hex("01000000 0200 0000"), hex("00000000 00000000 0000ffff 0a010001"),
                   hex("00000000 00000000 0000ffff 0a010002"), zeros(9 * 16), hex("01000000 0200 0100"),
                   hex("00000000 00000000 0000ffff 0a010001"), hex("fd000000 00000000 00000000 00000003"),
                   zeros(9 * 16), zeros(2046 * 184)));
    EXPECT_EQ(semaphore(READERS), 0);
    EXPECT_EQ(semaphore(WRITER), 0);
}

TEST_F(WispdRouteWriter, EachWritingIsANewGenerationOfEveryRoute) {
    routes_[0] = routes_[1] = route("10.1.0.1", "10.1.0.2");
    Route_Writer writer(context_, segments_, routes_);
    writer.publish();
    routes_[1] = Node_Route{};
    writer.publish();
    EXPECT_EQ(writer.sequence(), 2u);
    const std::vector<char> records = content('h');
    EXPECT_EQ(std::vector<char>(records.begin(), records.begin() + 8), hex("02000000 0200 0000"));
    EXPECT_EQ(std::vector<char>(records.begin() + 184, records.begin() + 2 * 184), zeros(184));
    EXPECT_EQ(content('g'), hex("02000000 01080000 00000000"));
}

TEST_F(WispdRouteWriter, FewerNodesThanRecordsLeaveTheRestInvalid) {
    routes_.assign(3, route("10.1.0.1", "10.1.0.2"));
    Route_Writer writer(context_, segments_, routes_);
    writer.publish();
    routes_.resize(1);
    writer.publish();
    const std::vector<char> records = content('h');
    EXPECT_EQ(std::vector<char>(records.begin() + 184, records.end()), zeros(2048 * 184));
}

TEST_F(WispdRouteWriter, MoreNodesGetTheirRecordsInTheSameSegment) {
    routes_.assign(3, route("10.1.0.1", "10.1.0.2"));
    Route_Writer writer(context_, segments_, routes_);
    writer.publish();
    const auto *attached = static_cast<const char *>(shmat(segment('h'), nullptr, SHM_RDONLY));
    ASSERT_NE(attached, reinterpret_cast<const char *>(-1));
    routes_.assign(2049, route("10.1.0.1", "10.1.0.2"));
    segments_.publish(98352);
    writer.publish();
    for (const int node : {0, 2, 3, 2048}) {
        EXPECT_EQ(std::vector<char>(attached + node * 184, attached + node * 184 + 8),
                  hex("02000000 0200 0000"))
            << node;
    }
    routes_.assign(2, route("10.1.0.1", "10.1.0.2"));
    writer.publish();
    EXPECT_EQ(std::vector<char>(attached + 2 * 184, attached + 2049 * 184), zeros(2047 * 184));
    shmdt(attached);
}

TEST_F(WispdRouteWriter, ReaderInsideIsWaitedForAndNewOnesAreHeldBack) {
    Route_Writer writer(context_, segments_, routes_, LONG);
    ASSERT_TRUE(enter(semaphores()));
    writer.publish();
    EXPECT_FALSE(writer.is_current());
    EXPECT_EQ(semaphore(WRITER), 1);
    EXPECT_FALSE(enter(semaphores(), IPC_NOWAIT));
    EXPECT_EQ(errno, EAGAIN);
    context_.poll();
    EXPECT_EQ(content('g'), hex("00000000 01080000 00000000"));
    // The newest state is written.
    routes_[0] = route("10.1.0.1", "10.1.0.2");
    writer.publish();
    leave(semaphores());
    EXPECT_TRUE(runs_until([&] { return writer.is_current(); }));
    EXPECT_EQ(writer.sequence(), 1u);
    EXPECT_EQ(content('h')[4], 2);
    EXPECT_EQ(semaphore(READERS), 0);
    EXPECT_EQ(semaphore(WRITER), 0);
}

TEST_F(WispdRouteWriter, ReaderThatStaysStopsNeitherTheDaemonNorOtherReaders) {
    Route_Writer writer(context_, segments_, routes_, SHORT);
    ASSERT_TRUE(enter(semaphores()));
    writer.publish();
    EXPECT_TRUE(runs_until([&] { return semaphore(WRITER) == 0; }));
    EXPECT_TRUE(enter(semaphores())); // waits no longer than the writer's patience
    leave(semaphores());
    EXPECT_EQ(content('g'), hex("00000000 01080000 00000000"));
    EXPECT_FALSE(writer.is_current());
    leave(semaphores());
    EXPECT_TRUE(runs_until([&] { return writer.is_current(); }));
    EXPECT_EQ(content('g'), hex("01000000 01080000 00000000"));
}

TEST_F(WispdRouteWriter, ReaderThatIsKilledInsideIsCountedOut) {
    const int set = semaphores();
    int told[2];
    ASSERT_EQ(pipe(told), 0);
    const hb_test::Unique_Fd from(told[0]);
    hb_test::Unique_Fd to(told[1]);
    const pid_t child = fork();
    if (child == 0) {
        const bool entered = enter(set) && write(told[1], "", 1) == 1;
        while (entered) {
            pause();
        }
        _exit(1);
    }
    to.reset();
    char byte = 1;
    ASSERT_EQ(::read(from.get(), &byte, 1), 1);
    Route_Writer writer(context_, segments_, routes_, LONG);
    writer.publish();
    EXPECT_FALSE(writer.is_current());
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_TRUE(runs_until([&] { return writer.is_current(); }));
    EXPECT_EQ(semaphore(READERS), 0);
}

TEST_F(WispdRouteWriter, DaemonThatIsKilledWhileItHoldsReadersLetsThemIn) {
    const pid_t child = fork();
    if (child == 0) {
        if (segments_.semaphores().hold_readers()) {
            raise(SIGKILL);
        }
        _exit(1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(semaphore(WRITER), 0);
    EXPECT_TRUE(enter(semaphores(), IPC_NOWAIT));
    leave(semaphores());
}

// Every word of every hop equals the generation.
void fill(Routes &routes, uint32_t generation) {
    for (Node_Route &each : routes) {
        each.length = 11;
        uint32_t words[44];
        std::fill(std::begin(words), std::end(words), generation);
        std::memcpy(&each.hops, words, sizeof words);
    }
}

[[noreturn]] void write_for_ever(Shared_Segments &segments, Routes routes, uint32_t generation) {
    if (!segments.semaphores().hold_readers()) {
        _exit(1);
    }
    for (;; ++generation) {
        fill(routes, generation);
        segments.write_routes(generation, routes);
    }
}

TEST_F(WispdRouteWriter, DaemonThatIsKilledWhileItWritesLeavesNoTornRoute) {
    const auto *header = static_cast<const volatile uint32_t *>(shmat(segment('g'), nullptr, SHM_RDONLY));
    const auto *records = static_cast<const volatile uint32_t *>(shmat(segment('h'), nullptr, SHM_RDONLY));
    for (int round = 0; round < 30; ++round) {
        const uint32_t before = header[0];
        const pid_t child = fork();
        if (child == 0) {
            write_for_ever(segments_, routes_, before + 1);
        }
        ASSERT_GT(child, 0);
        EXPECT_TRUE(hb_test::wait_until([&] { return header[0] > before + 100; }));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        EXPECT_EQ(semaphore(WRITER), 0);
        for (std::size_t node = 0; node < 3; ++node) {
            const auto *record = records + 46 * node;
            for (std::size_t word = 2; record[0] == header[0] && word < 46; ++word) {
                ASSERT_EQ(record[word], header[0]) << "node " << node << " word " << word;
            }
        }
    }
    shmdt(const_cast<const uint32_t *>(header));
    shmdt(const_cast<const uint32_t *>(records));
}

TEST_F(WispdRouteWriter, RoutesAreNoLongerValidWhenTheDaemonEnds) {
    const auto *header = static_cast<const char *>(shmat(segment('g'), nullptr, SHM_RDONLY));
    {
        Shared_Segments going(std::move(segments_));
        Route_Writer writer(context_, going, routes_);
        writer.publish();
        EXPECT_EQ(header[0], 1);
    }
    EXPECT_EQ(header[0], 0);
    shmdt(header);
}

TEST_F(WispdRouteWriter, WriterThatGoesWhileItWaitsLetsReadersIn) {
    ASSERT_TRUE(enter(semaphores()));
    {
        Route_Writer writer(context_, segments_, routes_, LONG);
        writer.publish();
        EXPECT_EQ(semaphore(WRITER), 1);
    }
    EXPECT_EQ(semaphore(WRITER), 0);
    leave(semaphores());
}

// Readers then also copy without semaphores, and compare generations.
TEST_F(WispdRouteWriter, LostSemaphoresAreNoReasonToStop) {
    ASSERT_EQ(semctl(semaphores(), 0, IPC_RMID), 0);
    Route_Writer writer(context_, segments_, routes_, SHORT);
    writer.publish();
    EXPECT_FALSE(writer.is_current());
    EXPECT_TRUE(runs_until([&] { return writer.is_current(); }));
    EXPECT_EQ(content('g'), hex("01000000 01080000 00000000"));
}

// ---- Semaphores that another process has altered ----

TEST_F(WispdRouteWriter, AWriterThatIsNoneIsResetWithinAPeriod) {
    const wispd_test::Captured_Log log;
    Route_Writer writer(context_, segments_, routes_, QUICK);
    writer.publish();
    ASSERT_EQ(semctl(semaphores(), WRITER, SETVAL, 1), 0);
    EXPECT_TRUE(runs_until([&] { return semaphore(WRITER) == 0; }));
    sembuf add = {WRITER, 3, 0}; // as no reader does; unlike SETVAL it keeps sem_ctime
    ASSERT_EQ(semop(semaphores(), &add, 1), 0);
    EXPECT_TRUE(runs_until([&] { return semaphore(WRITER) == 0; }));
    ASSERT_EQ(log.lines().size(), 1u) << "one line within a minute";
    EXPECT_THAT(log.lines().front(),
                testing::EndsWith("route semaphores were altered and have been reset: semaphore 1 (blocks "
                                  "readers) was 1; any process with access to routes can do that"));
}

TEST_F(WispdRouteWriter, ReadersThatNobodyCountedInDoNotHoldUpTheWriter) {
    Route_Writer writer(context_, segments_, routes_, LONG);
    // The system records the time of a change in seconds.
    const time_t made = status_of_set().sem_ctime;
    ASSERT_TRUE(hb_test::wait_until([&] { return time(nullptr) > made; }));
    ASSERT_EQ(semctl(semaphores(), READERS, SETVAL, 5), 0);
    writer.publish();
    EXPECT_TRUE(runs_until([&] { return writer.is_current(); }));
    EXPECT_EQ(semaphore(READERS), 0);
}

TEST_F(WispdRouteWriter, ReadersAreNoneWhereNobodyHasTheSegment) {
    Route_Writer writer(context_, segments_, routes_, LONG);
    detach();
    sembuf add = {READERS, 5, 0};
    ASSERT_EQ(semop(semaphores(), &add, 1), 0);
    writer.publish();
    EXPECT_TRUE(runs_until([&] { return writer.is_current(); }));
    EXPECT_EQ(semaphore(READERS), 0);
}

TEST_F(WispdRouteWriter, ReaderThatStaysIsWaitedForTwiceOnly) {
    Route_Writer writer(context_, segments_, routes_, SHORT);
    ASSERT_TRUE(enter(semaphores()));
    writer.publish();
    EXPECT_FALSE(writer.is_current());
    EXPECT_TRUE(runs_until([&] { return writer.is_current(); }));
    EXPECT_EQ(content('g'), hex("01000000 01080000 00000000"));
    EXPECT_EQ(semaphore(READERS), 0);
}

TEST_F(WispdRouteWriter, AnAlteredWriterIsResetAroundAWrite) {
    const wispd_test::Captured_Log log;
    Route_Writer writer(context_, segments_, routes_, LONG);
    sembuf add = {WRITER, 3, 0};
    ASSERT_EQ(semop(semaphores(), &add, 1), 0);
    writer.publish();
    EXPECT_TRUE(runs_until([&] { return writer.is_current(); }));
    EXPECT_EQ(semaphore(WRITER), 0);
    EXPECT_EQ(log.lines().size(), 1u);
}

TEST_F(WispdRouteWriter, AHighestValueOfTheWriterIsReset) {
    Route_Writer writer(context_, segments_, routes_, LONG);
    ASSERT_EQ(semctl(semaphores(), WRITER, SETVAL, 32767), 0);
    writer.publish();
    EXPECT_TRUE(writer.is_current());
    EXPECT_EQ(semaphore(WRITER), 0);
}

TEST_F(WispdRouteWriter, ReadersAreHeldBackAgainWhenSomebodyHasLetThemIn) {
    Route_Writer writer(context_, segments_, routes_, QUICK);
    ASSERT_TRUE(enter(semaphores()));
    writer.publish();
    ASSERT_EQ(semctl(semaphores(), WRITER, SETVAL, 0), 0);
    EXPECT_TRUE(runs_until([&] { return semaphore(WRITER) == 1; }));
    leave(semaphores());
    EXPECT_TRUE(runs_until([&] { return writer.is_current(); }));
    EXPECT_EQ(semaphore(WRITER), 0);
}

// Reads as clients do until it has seen the last generation. Every word of a route is its generation.
int read_routes(int set, const void *header, const void *records, uint32_t last) {
    const auto *generation = static_cast<const volatile uint32_t *>(header);
    long valid = 0;
    for (uint32_t seen = 0; seen < last;) {
        if (!enter(set)) {
            return 2;
        }
        seen = *generation;
        uint32_t record[46];
        std::memcpy(record, static_cast<const char *>(records) + 184, sizeof record);
        sembuf out = {READERS, -1, SEM_UNDO};
        semop(set, &out, 1);
        if (seen == 0 || record[0] != seen) {
            continue;
        }
        ++valid;
        for (std::size_t word = 2; word < 46; ++word) {
            if (record[word] != seen) {
                return 3;
            }
        }
    }
    return valid > 0 ? 0 : 4;
}

TEST_F(WispdRouteWriter, ReadersNeverSeeATornRoute) {
    constexpr uint32_t GENERATIONS = 400;
    Route_Writer writer(context_, segments_, routes_, LONG);
    const void *header = shmat(segment('g'), nullptr, SHM_RDONLY);
    const void *records = shmat(segment('h'), nullptr, SHM_RDONLY);
    const int set = semaphores();
    std::vector<pid_t> readers;
    for (int i = 0; i < 3; ++i) {
        readers.push_back(fork());
        if (readers.back() == 0) {
            _exit(read_routes(set, header, records, GENERATIONS));
        }
    }
    for (uint32_t generation = 1; generation <= GENERATIONS; ++generation) {
        fill(routes_, generation);
        writer.publish();
        ASSERT_TRUE(runs_until([&] { return writer.is_current(); }));
    }
    for (pid_t reader : readers) {
        int status = -1;
        waitpid(reader, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(semaphore(READERS), 0);
    EXPECT_EQ(semaphore(WRITER), 0);
    shmdt(header);
    shmdt(records);
}

} // namespace
