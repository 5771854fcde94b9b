// SPDX-License-Identifier: Apache-2.0
// Reading the route to a node from the daemon's segment.
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <sys/mman.h>
#include <sys/sem.h>
#include <thread>

#include <gtest/gtest.h>

#include "tests/protocol/client.h"
#include "tests/protocol/route_call.h"
#include "tests/support/deadline.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/faults.h"
#include "tests/support/hb_communication.h"
#include "tests/support/hb_global_data.h"
#include "tests/support/isolated.h"
#include "tests/support/shared_records.h"
#include "tests/support/signal_pelter.h"

namespace hb_test {
namespace {

constexpr Route_Entry BOTH[] = {hb_read_route, hb_read_ip_route};

Route_Call read_any(int node) {
    return Route_Call(hb_read_route, node);
}

Route_Call read_ip(int node) {
    return Route_Call(hb_read_ip_route, node);
}

// 176 bytes that differ for every number.
Bytes hops_of(unsigned number) {
    return Bytes().fill(88, static_cast<unsigned char>(number)).fill(88, static_cast<unsigned char>(~number));
}

// Segment 1 holds this generation and eight nodes. The records are those of nodes 0, 1, 2 ...
Fake_Daemon_Plan plan_of(int64_t generation, const std::vector<Bytes> &records) {
    Fake_Daemon_Plan plan;
    plan.segments.configuration.content = Bytes().i32(generation).i32(8).i32(5);
    for (const Bytes &record : records) {
        plan.segments.routes.content.add(record);
    }
    return plan;
}

// All eight nodes have a route of this generation. A node's route has as many hops as its number.
Fake_Daemon_Plan eight_routes(int64_t generation) {
    std::vector<Bytes> records;
    for (unsigned node = 0; node < 8; ++node) {
        records.push_back(route_record(generation, node, 0, hops_of(node)));
    }
    return plan_of(generation, records);
}

// Semaphore, change, flags, operations in the call.
using Operations = std::vector<std::array<long, 4>>;
const Operations IN_AND_OUT = {{0, 1, 0x1000, 2}, {1, 0, 0, 2}, {0, -1, 0x1000, 1}};

Operations asked(const Call_Log &log) {
    Operations operations;
    for (const Call_Record &record : log.calls(Call::semop_)) {
        const long *it = record.arguments;
        operations.push_back({it[0], it[1], it[2], it[3]});
    }
    return operations;
}

// The two counts. Another reader stays inside while this object exists.
class Counts {
  public:
    explicit Counts(Fake_Daemon &daemon) : id_(daemon.segments().semaphores_id()) {
        EXPECT_EQ(0, semctl(id_, 0, SETVAL, 3));
    }
    Counts(const Counts &) = delete;
    Counts &operator=(const Counts &) = delete;
    ~Counts() {
        EXPECT_EQ(3, semctl(id_, 0, GETVAL)) << "the count of readers is as it was found";
        EXPECT_EQ(0, semctl(id_, 1, GETVAL));
    }

  private:
    int id_;
};

void expect_failure(int error, const Route_Call &call) {
    EXPECT_EQ(Hb_Failure, call.result);
    EXPECT_EQ(error, call.error);
    EXPECT_TRUE(call.untouched());
}

// ---- A route that exists ----

ISOLATED_TEST(ReadRoute, GivesTheLengthAndTheHopsOfTheNodesRecord) {
    Fake_Daemon daemon(eight_routes(0x0A0B0C0D));
    open_library();
    const Counts counts(daemon);
    for (const Route_Entry entry : BOTH) {
        for (unsigned node = 0; node < 8; ++node) {
            const Call_Log log;
            const Route_Call call(entry, static_cast<int>(node));
            EXPECT_EQ(Hb_Success, call.result) << node;
            EXPECT_EQ(node, call.length);
            EXPECT_TRUE(same_bytes(hops_of(node), call.route));
            EXPECT_EQ(0, call.error);
            EXPECT_EQ(IN_AND_OUT, asked(log));
        }
    }
}

ISOLATED_TEST(ReadRoute, HandsTheHopsOnByteForByte) {
    Bytes record = {0x01, 0x00, 0x00, 0x80, 0x02, 0x00, 0x00, 0x00}; // generation 80000001, two hops, IP
    record.add({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 10, 1, 0, 1});
    record.add({0xFE, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7});
    record.zeros(144);
    Fake_Daemon daemon(plan_of(0x80000001, {record}));
    open_library();
    const Route_Call call = read_ip(0);
    EXPECT_EQ(Hb_Success, call.result);
    EXPECT_EQ(2U, call.length);
    EXPECT_TRUE(same_bytes(record.from(8), call.route));
}

ISOLATED_TEST(ReadRoute, HasAsManyHopsAsARouteHoldsAndNoMore) {
    Fake_Daemon daemon(
        plan_of(1, {route_record(1, 0, 0, hops_of(1)), route_record(1, 11, 0, hops_of(2)),
                    route_record(1, 12, 0, hops_of(3)), route_record(1, 0xFFFF, 1, hops_of(4))}));
    open_library();
    const Counts counts(daemon);
    EXPECT_EQ(0U, read_any(0).length);
    EXPECT_EQ(11U, read_ip(1).length);
    for (const Route_Entry entry : BOTH) {
        expect_failure(6, Route_Call(entry, 2));
        expect_failure(6, Route_Call(entry, 3));
    }
}

ISOLATED_TEST(ReadRoute, HasNoMoreHopsThanItHoldsWithoutSemaphoresEither) {
    Fake_Daemon daemon(plan_of(1, {route_record(1, 11, 0, hops_of(1)), route_record(1, 12, 0, hops_of(2))}));
    open_library();
    const Fault_Guard fault = failing(Call::semop_, EACCES, 0, 1000);
    EXPECT_EQ(11U, read_any(0).length);
    expect_failure(6, read_any(1));
}

ISOLATED_TEST(ReadRoute, ANodeNeedsNoAdapter) {
    Fake_Daemon daemon(eight_routes(5));
    open_library();
    ASSERT_EQ(Hb_False, global_node_tbl[3]);
    EXPECT_EQ(Hb_Success, read_any(3).result);
    EXPECT_EQ(Hb_Success, read_ip(7).result);
}

ISOLATED_TEST(ReadRoute, AsksTheDaemonNothing) {
    Fake_Daemon daemon(eight_routes(5));
    open_library();
    const Call_Log log;
    for (const Route_Entry entry : BOTH) {
        EXPECT_EQ(Hb_Success, Route_Call(entry, 2).result);
    }
    EXPECT_TRUE(log.calls(Call::writev_).empty());
    EXPECT_TRUE(log.calls(Call::read_).empty());
}

ISOLATED_TEST(ReadRoute, FollowsTheSegmentAsTheDaemonRewritesIt) {
    Fake_Daemon daemon(eight_routes(5));
    open_library();
    EXPECT_EQ(2U, read_any(2).length);
    const Bytes newer = route_record(6, 9, 0, hops_of(99));
    std::memcpy(daemon.segments().routes() + 2 * 184, newer.data(), newer.size());
    EXPECT_EQ(6, read_any(2).error) << "newer than segment 1";
    std::memcpy(daemon.segments().configuration(), Bytes().i32(6).data(), 4);
    const Route_Call call = read_any(2);
    EXPECT_EQ(9U, call.length);
    EXPECT_TRUE(same_bytes(hops_of(99), call.route));
    EXPECT_EQ(6, read_any(1).error) << "older by now";
}

// ---- A route that does not exist ----

ISOLATED_TEST(ReadRoute, ARecordOfAnotherGenerationThanSegment1IsError6) {
    Fake_Daemon daemon(
        plan_of(0x01000002, {route_record(0x01000001, 2, 0, hops_of(1)),
                             route_record(0x01000003, 2, 0, hops_of(2)), route_record(0, 2, 0, hops_of(3)),
                             route_record(2, 2, 0, hops_of(4)), route_record(0x01000000, 2, 0, hops_of(5))}));
    open_library();
    const Counts counts(daemon);
    for (const Route_Entry entry : BOTH) {
        for (int node = 0; node < 8; ++node) {
            const Call_Log log;
            expect_failure(6, Route_Call(entry, node));
            EXPECT_EQ(IN_AND_OUT, asked(log));
        }
    }
}

ISOLATED_TEST(ReadRoute, WhileSegment1HasNoGenerationNoRouteIsValid) {
    Fake_Daemon daemon(plan_of(0, {route_record(0, 2, 0, hops_of(1)), route_record(1, 2, 0, hops_of(2))}));
    open_library();
    const Counts counts(daemon);
    for (const Route_Entry entry : BOTH) {
        for (const int node : {0, 1, 2}) {
            const Call_Log log;
            expect_failure(6, Route_Call(entry, node));
            EXPECT_EQ(IN_AND_OUT, asked(log));
        }
    }
}

ISOLATED_TEST(ReadRoute, ThatIsNotAnIpRouteIsError49ForThoseWhoWantOne) {
    Fake_Daemon daemon(
        plan_of(4, {route_record(4, 2, 1, hops_of(1)), route_record(4, 2, 0x8000, hops_of(2)),
                    route_record(4, 2, 0xFFFF, hops_of(3)), route_record(4, 2, 0x0100, hops_of(4))}));
    open_library();
    const Counts counts(daemon);
    for (unsigned node = 0; node < 4; ++node) {
        const Call_Log log;
        expect_failure(49, read_ip(static_cast<int>(node)));
        EXPECT_EQ(IN_AND_OUT, asked(log));
        const Route_Call call = read_any(static_cast<int>(node));
        EXPECT_EQ(Hb_Success, call.result);
        EXPECT_EQ(2U, call.length);
        EXPECT_TRUE(same_bytes(hops_of(node + 1), call.route));
    }
}

ISOLATED_TEST(ReadRoute, AnOldRecordIsError6WhetherItIsAnIpRouteOrNot) {
    Fake_Daemon daemon(plan_of(4, {route_record(3, 2, 1, hops_of(1))}));
    open_library();
    expect_failure(6, read_ip(0));
    expect_failure(6, read_any(0));
}

ISOLATED_TEST(ReadRoute, ANodeBeyondTheAttachedSlotsIsError6EnteredAndLeft) {
    Fake_Daemon_Plan plan;
    plan.segments = segments_for(3, 5); // the configuration message says eight nodes
    for (unsigned node = 0; node < 3; ++node) {
        plan.segments.routes.content.add(route_record(1, 4, 0, hops_of(node)));
    }
    Fake_Daemon daemon(plan);
    open_library();
    const Counts counts(daemon);
    for (const Route_Entry entry : BOTH) {
        EXPECT_EQ(Hb_Success, Route_Call(entry, 2).result);
        for (const int node : {3, 4, 7}) {
            const Call_Log log;
            expect_failure(6, Route_Call(entry, node));
            EXPECT_EQ(IN_AND_OUT, asked(log));
        }
    }
}

ISOLATED_TEST(ReadRoute, TheSlotsAreThoseOfTheSegmentThatWasAttachedAlsoAfterTheClusterHasGrown) {
    Fake_Daemon_Plan plan = eight_routes(5);
    Cluster_Facts cluster = small_cluster();
    cluster.max_nodes = 2049;
    plan.connections = {serve_configuration(snapshot(cluster))};
    Fake_Daemon daemon(plan);
    open_library();
    std::memcpy(daemon.segments().configuration(), Bytes().i32(5).i32(2049).data(), 8);
    EXPECT_EQ(Hb_Success, read_any(7).result);
    expect_failure(6, read_any(8));
    expect_failure(6, read_ip(2048));
}

ISOLATED_TEST(ReadRoute, ANodeOutOfRangeIsError4AndTheSegmentIsNotEntered) {
    Fake_Daemon daemon(eight_routes(5));
    open_library();
    const Call_Log log;
    for (const Route_Entry entry : BOTH) {
        for (const int node : {-1, -2, -32768, 8, 9, 2048, 2049, 32767}) {
            expect_failure(4, Route_Call(entry, node));
        }
    }
    EXPECT_TRUE(asked(log).empty());
}

ISOLATED_TEST(ReadRoute, ANodeBeyondTheSlotsThereCanBeIsError4WhateverTheTableSays) {
    Fake_Daemon daemon(eight_routes(5));
    open_library();
    global_config_tbl.Hb_max_nodes = 30000;
    expect_failure(4, read_any(2049));
    expect_failure(4, read_ip(29999));
    expect_failure(6, read_any(2048));
}

ISOLATED_TEST(ReadRoute, WithoutAttachedSegmentsItIsError6) {
    Fake_Daemon daemon(eight_routes(5));
    open_library();
    const auto *routes = shared_route_info;
    const auto *configuration = data_for_client;
    const Counts counts(daemon);
    for (const Route_Entry entry : BOTH) {
        shared_route_info = nullptr;
        expect_failure(6, Route_Call(entry, 2));
        data_for_client = nullptr;
        expect_failure(6, Route_Call(entry, 2));
        shared_route_info = routes;
        expect_failure(6, Route_Call(entry, 2));
        data_for_client = configuration;
        EXPECT_EQ(Hb_Success, Route_Call(entry, 2).result);
    }
    hb_detach_shared_memory();
    expect_failure(6, read_any(2));
    expect_failure(6, read_ip(2));
    expect_failure(4, read_any(8));
}

ISOLATED_TEST(ReadRoute, ANullAnswerIsError4BeforeTheLibraryIsOpened) {
    Fake_Daemon daemon(eight_routes(5));
    for (const Route_Entry entry : BOTH) {
        EXPECT_EQ(4, error_without_answers(entry, 2, false, true));
        EXPECT_EQ(4, error_without_answers(entry, 2, true, false));
        EXPECT_EQ(4, error_without_answers(entry, 2, false, false));
    }
    EXPECT_EQ(0, client_initialized);
    EXPECT_EQ(0, daemon.connections());
}

ISOLATED_TEST(ReadRoute, OpensTheLibrary) {
    Fake_Daemon daemon(eight_routes(5));
    EXPECT_EQ(Hb_Success, read_any(2).result);
    EXPECT_EQ(1, client_initialized);
    EXPECT_EQ(Hb_Success, hb_terminate());
    EXPECT_EQ(Hb_Success, read_ip(2).result);
    EXPECT_EQ(1, client_initialized);
}

ISOLATED_TEST(ReadRoute, WhereTheLibraryCannotBeOpenedTheErrorIsThatOfOpening) {
    Fake_Daemon daemon(eight_routes(5));
    daemon.stop_listening();
    for (const Route_Entry entry : BOTH) {
        expect_failure(15, Route_Call(entry, -1));
        expect_failure(15, Route_Call(entry, 2));
    }
}

// ---- The daemon writes, has ended, or was replaced ----

ISOLATED_TEST(ReadRoute, WaitsWhileTheDaemonWritesAndReadsWhatItWrote) {
    Fake_Daemon daemon(eight_routes(5));
    open_library();
    const int semaphores = daemon.segments().semaphores_id();
    ASSERT_EQ(0, semctl(semaphores, 1, SETVAL, 1));
    std::unique_ptr<Route_Call> call;
    std::thread reader([&call] { call = std::make_unique<Route_Call>(hb_read_ip_route, 2); });
    EXPECT_TRUE(wait_until([semaphores] { return semctl(semaphores, 1, GETZCNT) == 1; }));
    EXPECT_EQ(0, semctl(semaphores, 0, GETVAL));
    const Bytes newer = route_record(6, 10, 0, hops_of(77));
    std::memcpy(daemon.segments().routes() + 2 * 184, newer.data(), newer.size());
    std::memcpy(daemon.segments().configuration(), Bytes().i32(6).data(), 4);
    EXPECT_EQ(0, semctl(semaphores, 1, SETVAL, 0));
    reader.join();
    EXPECT_EQ(Hb_Success, call->result);
    EXPECT_EQ(10U, call->length);
    EXPECT_TRUE(same_bytes(hops_of(77), call->route));
    EXPECT_EQ(0, semctl(semaphores, 0, GETVAL));
}

ISOLATED_TEST(ReadRoute, ReadsUnderSignalsAndLeavesNothingBehind) {
    Fake_Daemon daemon(eight_routes(5));
    open_library();
    const Counts counts(daemon);
    const Signal_Pelter pelter;
    while (Signal_Pelter::hits() < 50) {
        for (int node = 0; node < 8; ++node) {
            EXPECT_EQ(Hb_Success, read_any(node).result);
        }
    }
}

ISOLATED_TEST(ReadRoute, AnInterruptedEntryIsRepeated) {
    Fake_Daemon daemon(eight_routes(5));
    open_library();
    const Counts counts(daemon);
    const Fault_Guard fault = failing(Call::semop_, EINTR, 0, 2);
    EXPECT_EQ(Hb_Success, read_any(2).result);
    EXPECT_EQ(2, fault.hits());
}

ISOLATED_TEST(ReadRoute, WhatTheSemaphoresAnswerDoesNotMatter) {
    Fake_Daemon daemon(eight_routes(5));
    open_library();
    for (const int error : {EIDRM, EINVAL, EACCES, ENOSPC}) {
        const Counts counts(daemon);
        const Fault_Guard fault = failing(Call::semop_, error);
        const Route_Call call = read_any(2);
        EXPECT_EQ(Hb_Success, call.result) << strerror(error);
        EXPECT_TRUE(same_bytes(hops_of(2), call.route));
    }
}

// The route segment in memory of the test. Its second page cannot be read until the library reaches it. At that
// moment the record of node 22, which lies on both pages, is rewritten whole: generation 6 instead of 5.
class Changing_Record {
  public:
    Changing_Record(Fake_Daemon &daemon, const Bytes &before, const Bytes &after)
        : pages_(static_cast<char *>(
              mmap(nullptr, 3 * PAGE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
        std::memcpy(pages_ + NODE * 184, before.data(), before.size());
        header = daemon.segments().configuration();
        record = pages_ + NODE * 184;
        page = pages_ + PAGE;
        later = after.data();
        changes = 0;
        struct sigaction action {};
        action.sa_handler = change;
        sigaction(SIGSEGV, &action, &former_);
        shared_route_info = reinterpret_cast<const Hb_route_sequence *>(pages_);
        mprotect(page, PAGE, PROT_NONE);
    }
    Changing_Record(const Changing_Record &) = delete;
    Changing_Record &operator=(const Changing_Record &) = delete;
    ~Changing_Record() {
        sigaction(SIGSEGV, &former_, nullptr);
        shared_route_info = attached_;
        munmap(pages_, 3 * PAGE);
    }

    static constexpr std::size_t PAGE = 4096;
    static constexpr int NODE = 22; // bytes 4048 to 4231
    static inline volatile int changes = 0;

  private:
    static void change(int /*signal*/) {
        mprotect(page, PAGE, PROT_READ | PROT_WRITE);
        std::memcpy(record, later, 184);
        const uint32_t generation = 6;
        std::memcpy(header, &generation, sizeof generation);
        changes = changes + 1;
    }

    static inline char *header = nullptr;
    static inline char *record = nullptr;
    static inline char *page = nullptr;
    static inline const unsigned char *later = nullptr;

    const Hb_route_sequence *attached_ = shared_route_info;
    char *pages_;
    struct sigaction former_ {};
};

Fake_Daemon_Plan plan_of_forty_nodes() {
    Cluster_Facts cluster = small_cluster();
    cluster.max_nodes = 40;
    Fake_Daemon_Plan plan;
    plan.connections = {serve_configuration(snapshot(cluster))};
    plan.segments = segments_for(40);
    return plan;
}

ISOLATED_TEST(ReadRoute, ThatCannotEnterTheSectionIsCopiedAgainWhenTheRecordHasChangedMeanwhile) {
    Fake_Daemon daemon(plan_of_forty_nodes());
    open_library();
    const Bytes before = route_record(5, 11, 0, Bytes().fill(176, 0x55));
    const Bytes after = route_record(6, 10, 0, Bytes().fill(176, 0x66));
    for (const Route_Entry entry : BOTH) {
        for (const int error : {EACCES, ENOSPC, ERANGE, ENOMEM}) {
            std::memcpy(daemon.segments().configuration(), Bytes().i32(5).data(), 4);
            const Fault_Guard fault = failing(Call::semop_, error, 0, -1);
            const Changing_Record changing(daemon, before, after);
            const Route_Call call(entry, Changing_Record::NODE);
            EXPECT_EQ(1, Changing_Record::changes);
            EXPECT_EQ(Hb_Success, call.result) << strerror(error);
            EXPECT_EQ(10U, call.length);
            EXPECT_TRUE(same_bytes(Bytes().fill(176, 0x66), call.route));
        }
    }
}

// The daemon writes although a reader that was stopped inside has stayed too long.
ISOLATED_TEST(ReadRoute, InsideTheSectionIsCopiedAgainWhenTheRecordHasChangedMeanwhile) {
    Fake_Daemon daemon(plan_of_forty_nodes());
    open_library();
    const Bytes before = route_record(5, 11, 0, Bytes().fill(176, 0x55));
    const Bytes after = route_record(6, 10, 0, Bytes().fill(176, 0x66));
    for (const Route_Entry entry : BOTH) {
        std::memcpy(daemon.segments().configuration(), Bytes().i32(5).data(), 4);
        const Counts counts(daemon);
        const Changing_Record changing(daemon, before, after);
        const Route_Call call(entry, Changing_Record::NODE);
        EXPECT_EQ(1, Changing_Record::changes);
        EXPECT_EQ(Hb_Success, call.result);
        EXPECT_EQ(10U, call.length);
        EXPECT_TRUE(same_bytes(Bytes().fill(176, 0x66), call.route));
    }
}

// Rewrites the route of node 2 as the daemon does, but does not wait for readers. The record is invalid while
// its bytes change. Every byte of a route is the low byte of its generation.
class Hasty_Writer {
  public:
    explicit Hasty_Writer(Fake_Daemon &daemon)
        : header_(daemon.segments().configuration()), record_(daemon.segments().routes() + 2 * 184),
          thread_([this] { run(); }) {}
    Hasty_Writer(const Hasty_Writer &) = delete;
    Hasty_Writer &operator=(const Hasty_Writer &) = delete;
    ~Hasty_Writer() {
        stop_ = true;
        thread_.join();
    }

  private:
    static void put_word(char *at, uint32_t word) {
        std::atomic_ref(*reinterpret_cast<uint32_t *>(at)).store(word, std::memory_order_seq_cst);
    }
    void run() {
        for (uint32_t generation = 6; !stop_; ++generation) {
            put_word(record_, 0);
            for (int i = 8; i < 184; ++i) {
                std::atomic_ref(record_[i]).store(static_cast<char>(generation), std::memory_order_relaxed);
            }
            put_word(record_, generation);
            put_word(header_, generation);
            std::this_thread::yield();
        }
    }

    char *header_;
    char *record_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

ISOLATED_TEST(ReadRoute, ThatCannotEnterTheSectionIsWholeAllTheSame) {
    const Bytes first = route_record(5, 11, 0, Bytes().fill(176, 5));
    Fake_Daemon daemon(plan_of(5, {first, first, first}));
    open_library();
    const Fault_Guard fault = failing(Call::semop_, ENOSPC, 0, -1);
    const Hasty_Writer writer(daemon);
    int whole = 0;
    int torn = 0;
    int other = 0;
    int changes = 0;
    unsigned char last = 5;
    EXPECT_TRUE(wait_until([&] {
        for (int i = 0; i < 1000; ++i) {
            const Route_Call call = read_any(2);
            if (call.result != Hb_Success) {
                other += call.error == 6 ? 0 : 1;
            } else if (call.route == Bytes().fill(176, call.route[0])) {
                ++whole;
                changes += call.route[0] == last ? 0 : 1;
                last = static_cast<unsigned char>(call.route[0]);
            } else {
                ++torn;
            }
        }
        return (whole >= 10000 && changes >= 100) || torn > 0;
    }));
    EXPECT_EQ(0, torn);
    EXPECT_EQ(0, other);
    EXPECT_GE(fault.hits(), 10000) << "no reading entered";
}

ISOLATED_TEST(ReadRoute, ThatCannotEnterTheSectionEndsWithError6WhenTheRecordNeverBecomesWhole) {
    Fake_Daemon daemon(plan_of(5, {route_record(0, 1, 0, hops_of(1)), route_record(6, 2, 0, hops_of(2))}));
    open_library();
    for (const int error : {EACCES, ENOSPC, ERANGE, ENOMEM}) {
        const Fault_Guard fault = failing(Call::semop_, error, 0, -1);
        expect_failure(6, read_any(0));
        expect_failure(6, read_ip(1));
        EXPECT_EQ(2, fault.hits()) << "nothing was left that had not been entered";
    }
}

ISOLATED_TEST(ReadRoute, InClusterEventModeTheAttachedSegmentIsStillRead) {
    Fake_Daemon daemon(eight_routes(5));
    open_library();
    IsMOX = true;
    const Counts counts(daemon);
    EXPECT_EQ(Hb_Success, read_any(2).result);
    EXPECT_EQ(Hb_Success, read_ip(2).result);
    expect_failure(4, read_any(8));
}

} // namespace
} // namespace hb_test
