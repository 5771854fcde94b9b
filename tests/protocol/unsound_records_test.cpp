// SPDX-License-Identifier: Apache-2.0
// Malformed records are dropped, and nothing but the two documented fields changes.
#include <gtest/gtest.h>

#include "tests/protocol/client.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/hb_communication.h"
#include "tests/support/hb_global_data.h"
#include "tests/support/isolated.h"

namespace hb_test {
namespace {

Bytes event(int kind, const Bytes &body) {
    Reply_Header header;
    header.kind = kind;
    header.leader[0] = 2;
    header.subscription_name = "name";
    header.ffdc_id = "failure";
    header.sequence = 4711;
    return reply(header, body);
}

// The event gives error 10. The caller's record loses its failure identifier and gets the sequence number.
// Nothing else changes, in the record or in the library. The next event is read normally.
void expect_refused(const Bytes &record) {
    Fake_Daemon daemon;
    open_library();
    const Bytes before = library_state();
    daemon.run({send_record(record), send_record(event(12, {}))});
    Event_Call call;
    set_hb_errno(0);
    EXPECT_EQ(Hb_Failure, call.take());
    EXPECT_EQ(10, hb_get_errno());
    EXPECT_EQ(Event_Call::NO_EVENT, call.events);
    EXPECT_EQ(4711U, call.sequence);
    EXPECT_EQ(Bytes().fill(48, UNTOUCHED), call.name_bytes());
    EXPECT_TRUE(same_bytes(untouched_group().put(GROUP_FFDC, Bytes().zeros(43)), call.group_bytes()));
    EXPECT_TRUE(same_bytes(before, library_state()));
    EXPECT_EQ(Hb_Success, call.take()) << "the stream is still in step";
    EXPECT_EQ(8, call.events);
    hb_terminate();
}

// One adapter more than the 98,352 possible numbers, so one number appears twice. The record stays within its
// greatest length, since it has no networks.
Cluster_Facts crowded_cluster() {
    Cluster_Facts cluster;
    cluster.max_nodes = 2049;
    cluster.adapters_per_node = 48;
    for (unsigned i = 0; i < 98353; ++i) {
        const unsigned number = i % 98352;
        cluster.adapters.push_back({number, static_cast<int>(number % 48U),
                                    ipv4(10, i >> 16U, (i >> 8U) & 0xFFU, i & 0xFFU), "en", 1});
    }
    return cluster;
}

// ---- Kinds ----

ISOLATED_TEST(RefusedKind, ARouteReplyAsAnEvent) {
    expect_refused(event(8, Bytes().zeros(200)));
}

ISOLATED_TEST(RefusedKind, EveryReplyThatIsNoEvent) {
    for (const int kind : {0, 1, 8, 10, 11, 14}) {
        SCOPED_TRACE(kind);
        expect_refused(event(kind, snapshot(small_cluster())));
    }
}

ISOLATED_TEST(RefusedKind, EveryUnknownCode) {
    for (const int kind : {16, 17, 201, 0x7FFFFFFF, -1, -2147483647 - 1}) {
        SCOPED_TRACE(kind);
        expect_refused(event(kind, Bytes().zeros(200)));
    }
}

// ---- Records without a whole header ----

ISOLATED_TEST(RefusedHeader, ARecordShorterThanAHeaderChangesNothingAtAll) {
    for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{4}, std::size_t{60},
                                     std::size_t{104}, std::size_t{107}}) {
        SCOPED_TRACE(length);
        for (const int kind : {2, 5, 9, 12, 15}) {
            Fake_Daemon daemon;
            open_library();
            const Bytes before = library_state();
            daemon.run({send_record(event(kind, {}).first(length)), send_record(event(12, {}))});
            Event_Call call;
            set_hb_errno(0);
            EXPECT_EQ(Hb_Failure, call.take());
            EXPECT_EQ(10, hb_get_errno());
            EXPECT_EQ(Event_Call::NO_EVENT, call.events);
            EXPECT_EQ(Event_Call::NO_SEQUENCE, call.sequence) << "there was none in it";
            EXPECT_TRUE(same_bytes(untouched_group(), call.group_bytes()));
            EXPECT_TRUE(same_bytes(before, library_state()));
            EXPECT_EQ(Hb_Success, call.take());
            hb_terminate();
        }
    }
}

ISOLATED_TEST(RefusedHeader, AnImpossibleLengthIsError12AndChangesNothing) {
    for (const int64_t length : {-1LL, -2147483648LL, 6298785LL, 2147483647LL}) {
        SCOPED_TRACE(length);
        Fake_Daemon daemon;
        open_library();
        const Bytes before = library_state();
        daemon.run(send_raw(Bytes().i32(length).add(event(12, {}))));
        Event_Call call;
        EXPECT_EQ(Hb_Failure, call.take());
        EXPECT_EQ(12, hb_get_errno());
        EXPECT_TRUE(same_bytes(untouched_group(), call.group_bytes()));
        EXPECT_TRUE(same_bytes(before, library_state()));
        hb_terminate();
    }
}

// ---- Adapter events ----

ISOLATED_TEST(RefusedAdapterEvent, WithoutACount) {
    for (const int kind : {2, 3, 4}) {
        for (std::size_t length = 0; length < 4; ++length) {
            SCOPED_TRACE(length);
            expect_refused(event(kind, Bytes().zeros(length)));
        }
    }
}

ISOLATED_TEST(RefusedAdapterEvent, WithACountBelowMinusOne) {
    for (const int kind : {2, 3, 4}) {
        for (const int64_t last : {-2LL, -3LL, -2147483648LL}) {
            SCOPED_TRACE(last);
            expect_refused(event(kind, Bytes().i32(last).zeros(64)));
        }
    }
}

ISOLATED_TEST(RefusedAdapterEvent, WithACountBeyondItsBody) {
    for (const int kind : {2, 3, 4}) {
        expect_refused(event(kind, Bytes().i32(0)));
        expect_refused(event(kind, Bytes().i32(0).zeros(7)));
        expect_refused(event(kind, Bytes().i32(2).zeros(2 * 8 + 7)));
        expect_refused(event(kind, Bytes().i32(0x7FFFFFFF).zeros(64)));
        expect_refused(event(kind, Bytes().i32(0x1FFFFFFF).zeros(64)));
    }
}

// ---- Node events ----

ISOLATED_TEST(RefusedNodeEvent, WithABodyShorterThanTheNodes) {
    for (const int kind : {5, 6, 7}) {
        expect_refused(event(kind, {}));
        expect_refused(event(kind, Bytes().zeros(4)));
        expect_refused(event(kind, Bytes().zeros(8 * 4 - 1)));
    }
}

// ---- Heartbeat and different instance ----

ISOLATED_TEST(RefusedHeartbeat, WithABodyUnder16Bytes) {
    for (const std::size_t length : {std::size_t{0}, std::size_t{12}, std::size_t{15}}) {
        expect_refused(event(15, Bytes().fill(length, 1)));
    }
}

ISOLATED_TEST(RefusedDifferentInstance, WithABodyUnder20Bytes) {
    for (const std::size_t length : {std::size_t{0}, std::size_t{16}, std::size_t{19}}) {
        expect_refused(event(13, Bytes().fill(length, 1)));
    }
}

// ---- Configuration updates: an invalid one changes nothing ----

ISOLATED_TEST(RefusedUpdate, WithoutAllItsCounts) {
    for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{19}}) {
        expect_refused(event(9, snapshot(small_cluster()).first(length)));
    }
}

ISOLATED_TEST(RefusedUpdate, ShorterThanItsCountsSay) {
    const Bytes whole = snapshot(small_cluster());
    for (const std::size_t length : {std::size_t{20}, std::size_t{20 + 64}, std::size_t{20 + 5 * 64},
                                     std::size_t{20 + 5 * 64 + 86}, whole.size() - 1}) {
        SCOPED_TRACE(length);
        expect_refused(event(9, whole.first(length)));
    }
}

constexpr std::size_t MAX_NODES = 4;
constexpr std::size_t ADAPTERS_PER_NODE = 8;
constexpr std::size_t NUM_ADAPTERS = 12;
constexpr std::size_t NUM_NETWORKS = 16;

// The small cluster's snapshot with one of its numbers changed, and 10,000 zeros after it.
void expect_update_refused_with(std::size_t offset, int64_t value) {
    SCOPED_TRACE(testing::Message() << "number at " << offset << " is " << value);
    expect_refused(event(9, snapshot(small_cluster()).put_i32(offset, value).zeros(10000)));
}

ISOLATED_TEST(RefusedUpdate, WithAnImpossibleNumberOfAdapters) {
    for (const int64_t count : {-1LL, -2147483648LL, 0x7FFFFFFFLL, 0x04000000LL, 0x10000000LL}) {
        expect_update_refused_with(NUM_ADAPTERS, count);
    }
}

ISOLATED_TEST(RefusedUpdate, WithMoreAdaptersThanAClusterHasNumbers) {
    expect_refused(event(9, snapshot(crowded_cluster())));
}

ISOLATED_TEST(RefusedUpdate, WithAnImpossibleNumberOfNetworks) {
    for (const int64_t count : {-1LL, -2147483648LL, 49LL, 0x7FFFFFFFLL}) {
        expect_update_refused_with(NUM_NETWORKS, count);
    }
}

ISOLATED_TEST(RefusedUpdate, WithAdaptersPerNodeOutsideTheTable) {
    for (const int64_t count : {-1LL, -2147483648LL, 49LL, 0x7FFFFFFFLL}) {
        expect_update_refused_with(ADAPTERS_PER_NODE, count);
    }
}

ISOLATED_TEST(RefusedUpdate, WithAdaptersButNoSlotForThem) {
    expect_update_refused_with(ADAPTERS_PER_NODE, 0);
}

ISOLATED_TEST(RefusedUpdate, WithMaxNodesOutsideTheTable) {
    for (const int64_t count : {-1LL, -2147483648LL, 2050LL, 0x7FFFFFFFLL}) {
        expect_update_refused_with(MAX_NODES, count);
    }
}

ISOLATED_TEST(RefusedUpdate, WithAnAdapterNumberBeyondTheGeometry) {
    for (const int64_t number : {16LL, 98352LL, 0xFFFFFFFFLL, 0x80000000LL}) {
        SCOPED_TRACE(number);
        Cluster_Facts cluster = small_cluster();
        cluster.adapters[3].number = number;
        expect_refused(event(9, snapshot(cluster)));
    }
}

ISOLATED_TEST(RefusedUpdate, WithTooFewNodesForItsAdapters) {
    Cluster_Facts cluster = small_cluster();
    cluster.max_nodes = 4;
    expect_refused(event(9, snapshot(cluster)));
}

ISOLATED_TEST(RefusedUpdate, LeavesTheQueriesAnsweringFromTheOldTable) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(event(9, snapshot(small_cluster()).put_i32(NUM_NETWORKS, 49).zeros(10000))));
    Event_Call call;
    EXPECT_EQ(Hb_Failure, call.take());
    Hb_Adapter_Number adapter = 0;
    EXPECT_EQ(Hb_Success, hb_get_adapter_number_by_node_number(2, 1, &adapter));
    EXPECT_EQ(5U, adapter);
    int nodes = 0;
    EXPECT_EQ(Hb_Success, hb_get_number_of_configured_nodes(&nodes));
    EXPECT_EQ(3, nodes);
}

// ---- The first configuration ----

// Opening fails with error 10, and a new attempt is possible.
void expect_opening_refused(const Bytes &record) {
    Fake_Daemon_Plan plan;
    plan.connections = {{read_record(), send_record(record)}, serve_configuration(snapshot(small_cluster()))};
    Fake_Daemon daemon(plan);
    set_hb_errno(0);
    EXPECT_EQ(Hb_Failure, hb_init());
    EXPECT_EQ(10, hb_get_errno());
    EXPECT_EQ(0, client_initialized);
    EXPECT_EQ(Hb_Success, hb_init());
    hb_terminate();
}

ISOLATED_TEST(RefusedConfiguration, OfAnotherKind) {
    for (const int kind : {1, 2, 5, 9, 12, 15, 16, -1}) {
        SCOPED_TRACE(kind);
        expect_opening_refused(event(kind, snapshot(small_cluster())));
    }
}

ISOLATED_TEST(RefusedConfiguration, TooShort) {
    const Bytes whole = event(0, snapshot(small_cluster()));
    for (const std::size_t length : {std::size_t{0}, std::size_t{3}, std::size_t{107}, std::size_t{108},
                                     std::size_t{127}, std::size_t{128}, whole.size() - 1}) {
        SCOPED_TRACE(length);
        expect_opening_refused(whole.first(length));
    }
}

ISOLATED_TEST(RefusedConfiguration, WithMoreAdaptersThanAClusterHasNumbers) {
    expect_opening_refused(event(0, snapshot(crowded_cluster())));
}

ISOLATED_TEST(RefusedConfiguration, WithNumbersThatDoNotFit) {
    const struct {
        std::size_t offset;
        int64_t value;
    } rows[] = {{MAX_NODES, -1},        {MAX_NODES, 2050},  {ADAPTERS_PER_NODE, -1}, {ADAPTERS_PER_NODE, 49},
                {ADAPTERS_PER_NODE, 0}, {NUM_ADAPTERS, -1}, {NUM_ADAPTERS, 1000},    {NUM_NETWORKS, -1},
                {NUM_NETWORKS, 49},     {NUM_NETWORKS, 3},  {MAX_NODES, 4}};
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << "number at " << row.offset << " is " << row.value);
        expect_opening_refused(event(0, snapshot(small_cluster()).put_i32(row.offset, row.value)));
    }
}

} // namespace
} // namespace hb_test
