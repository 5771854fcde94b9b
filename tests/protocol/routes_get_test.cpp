// SPDX-License-Identifier: Apache-2.0
// Asking the daemon for the route to a node.
#include <cerrno>
#include <csignal>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/protocol/client.h"
#include "tests/protocol/route_call.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/faults.h"
#include "tests/support/hb_communication.h"
#include "tests/support/hb_global_data.h"
#include "tests/support/isolated.h"
#include "tests/support/process_counters.h"
#include "tests/support/shared_records.h"
#include "tests/support/signal_pelter.h"

namespace hb_test {
namespace {

constexpr std::size_t CONFIGURATION_REQUEST = 80; // bytes that opening has sent

Route_Call get(int node) {
    return Route_Call(hb_get_route, node);
}

// A reply with this value; the rest of its header is zero. In most tests it lies ready before the request.
Bytes route_reply(int64_t value, const Bytes &body) {
    return Bytes().i32(8).zeros(52).i32(value).zeros(48).add(body);
}

// 176 bytes in which neighbours differ.
Bytes some_hops() {
    Bytes body;
    for (unsigned i = 0; i < 176; ++i) {
        body.u8(i + 1U);
    }
    return body;
}

Bytes requests_after_opening(Fake_Daemon &daemon, std::size_t count) {
    return daemon.wait_received(CONFIGURATION_REQUEST + count).from(CONFIGURATION_REQUEST);
}

Bytes nothing_but_opening(Fake_Daemon &daemon) {
    // A request that is always sent is the first one after the opening.
    EXPECT_EQ(Hb_Success, hb_discard_stale_messages(1));
    return requests_after_opening(daemon, 80);
}

const Bytes &only_the_known_request() {
    static const Bytes known = frame(request(219, getpid()));
    return known;
}

// A cluster with the largest number of nodes. The given nodes have one adapter each.
Fake_Daemon_Plan largest_cluster(const std::vector<int> &nodes) {
    Cluster_Facts cluster;
    cluster.max_nodes = 2049;
    cluster.adapters_per_node = 48;
    for (const int node : nodes) {
        Adapter_Facts adapter;
        adapter.number = int64_t{node} * 48;
        adapter.address = Bytes().zeros(14).i16(node);
        cluster.adapters.push_back(adapter);
    }
    cluster.networks = {{"net", "ether"}};
    Fake_Daemon_Plan plan;
    plan.connections = {serve_configuration(snapshot(cluster))};
    return plan;
}

// ---- The request ----

ISOLATED_TEST(GetRoute, AsksWithTheNodeAsTheLengthAndThatManyZerosBehindTheHeader) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(route_reply(1, some_hops())));
    EXPECT_EQ(Hb_Success, get(4).result);
    Bytes expected = {80, 0, 0, 0};                              // the record's length: 76 and 4
    expected.zeros(8).add({211, 0, 0, 0, 4, 0, 0, 0}).zeros(48); // kind 211, len 4
    expected.i32(getpid()).zeros(8).add({0, 0, 0, 0});           // four bytes after the header
    EXPECT_TRUE(same_bytes(expected, requests_after_opening(daemon, 84)));
}

ISOLATED_TEST(GetRoute, AsksForTheFirstAndForTheLastNodeThereCanBe) {
    Fake_Daemon daemon(largest_cluster({0, 1, 2048}));
    open_library();
    Bytes expected;
    for (const int node : {0, 1, 2048}) {
        daemon.run(send_record(route_reply(1, some_hops())));
        EXPECT_EQ(Hb_Success, get(node).result) << node;
        expected.i32(76 + node).zeros(8).i32(211).i32(node).zeros(48).i32(getpid()).zeros(8);
        expected.zeros(static_cast<std::size_t>(node));
    }
    EXPECT_TRUE(same_bytes(expected, requests_after_opening(daemon, expected.size())));
}

// ---- The reply ----

ISOLATED_TEST(GetRoute, GivesTheHopsInTheBodyAndTheirNumberInTheValue) {
    Fake_Daemon daemon;
    open_library();
    const Bytes body = hops({ipv4(10, 1, 0, 1), ipv4(10, 1, 0, 2), ipv6("fe80::7")});
    daemon.run(send_record(route_reply(3, body)));
    const Route_Call call = get(2);
    EXPECT_EQ(Hb_Success, call.result);
    EXPECT_EQ(3U, call.length);
    EXPECT_TRUE(same_bytes(body, call.route));
    EXPECT_EQ(0, call.error) << "success leaves the error number alone";
}

ISOLATED_TEST(GetRoute, TakesTheLow16BitsOfAnyOtherValueThanZero) {
    Fake_Daemon daemon;
    open_library();
    const struct {
        int64_t value;
        unsigned length;
    } rows[] = {{1, 1}, {11, 11}, {0x7FFF0003, 3}, {0x80000002, 2}, {0x00010000, 0}, {0x80000000, 0}};
    for (const auto &row : rows) {
        daemon.run(send_record(route_reply(row.value, some_hops())));
        const Route_Call call = get(2);
        EXPECT_EQ(Hb_Success, call.result) << row.value;
        EXPECT_EQ(row.length, call.length) << row.value;
        EXPECT_TRUE(same_bytes(some_hops(), call.route));
    }
}

ISOLATED_TEST(GetRoute, MoreHopsThanARouteHoldsAreError10) {
    Fake_Daemon daemon;
    open_library();
    for (const int64_t value : {int64_t{12}, int64_t{0xFFFF}, int64_t{0x7FFF000C}, int64_t{0xFFFFFFFF}}) {
        daemon.run(send_record(route_reply(value, some_hops())));
        const Route_Call call = get(2);
        EXPECT_EQ(Hb_Failure, call.result) << value;
        EXPECT_EQ(10, call.error) << value;
        EXPECT_TRUE(call.untouched());
    }
    daemon.run(send_record(route_reply(11, some_hops())));
    EXPECT_EQ(11U, get(2).length) << "the connection is still in step";
}

ISOLATED_TEST(GetRoute, AValueOfZeroIsError6WhateverTheBody) {
    Fake_Daemon daemon;
    open_library();
    for (const Bytes &body : {Bytes(), some_hops()}) {
        daemon.run(send_record(route_reply(0, body)));
        const Route_Call call = get(2);
        EXPECT_EQ(Hb_Failure, call.result);
        EXPECT_EQ(6, call.error);
        EXPECT_TRUE(call.untouched());
    }
}

ISOLATED_TEST(GetRoute, FillsAShorterBodyUpWithZeros) {
    Fake_Daemon daemon;
    open_library();
    for (const std::size_t size : {0U, 1U, 15U, 16U, 100U, 175U}) {
        daemon.run(send_record(route_reply(2, some_hops().first(size))));
        const Route_Call call = get(2);
        EXPECT_EQ(Hb_Success, call.result) << size;
        EXPECT_EQ(2U, call.length);
        EXPECT_TRUE(same_bytes(some_hops().first(size).zeros(176 - size), call.route));
    }
}

ISOLATED_TEST(GetRoute, TakesTheFirst176BytesOfALongerBody) {
    Fake_Daemon daemon;
    open_library();
    for (const std::size_t more : {1U, 184U, 100000U}) {
        daemon.run(send_record(route_reply(2, some_hops().fill(more, 0xEE))));
        const Route_Call call = get(2);
        EXPECT_EQ(Hb_Success, call.result) << more;
        EXPECT_TRUE(same_bytes(some_hops(), call.route));
    }
}

ISOLATED_TEST(GetRoute, LooksAtNothingInTheHeaderButKindAndValue) {
    Fake_Daemon daemon;
    open_library();
    const Bytes record = Bytes().fill(108, 0xFF).put_i32(0, 8).put_i32(56, 0x00000B).add(some_hops());
    daemon.run(send_record(record));
    const Route_Call call = get(2);
    EXPECT_EQ(Hb_Success, call.result);
    EXPECT_EQ(11U, call.length);
}

ISOLATED_TEST(GetRoute, AReplyThatEndsBehindTheValueHasNoHops) {
    Fake_Daemon daemon;
    open_library();
    for (const std::size_t size : {60U, 61U, 107U, 108U}) {
        daemon.run(send_record(route_reply(5, {}).first(size)));
        const Route_Call call = get(2);
        EXPECT_EQ(Hb_Success, call.result) << size;
        EXPECT_EQ(5U, call.length);
        EXPECT_TRUE(same_bytes(Bytes().zeros(176), call.route));
    }
    daemon.run(send_record(route_reply(0, {}).first(60)));
    EXPECT_EQ(6, get(2).error);
}

ISOLATED_TEST(GetRoute, AReplyThatEndsBeforeTheValueDoesIsError10) {
    Fake_Daemon daemon;
    open_library();
    for (const std::size_t size : {0U, 1U, 3U, 4U, 56U, 59U}) {
        daemon.run(send_record(route_reply(5, {}).first(size)));
        const Route_Call call = get(2);
        EXPECT_EQ(Hb_Failure, call.result) << size;
        EXPECT_EQ(10, call.error) << size;
        EXPECT_TRUE(call.untouched());
    }
    daemon.run(send_record(route_reply(5, some_hops())));
    EXPECT_EQ(Hb_Success, get(2).result) << "the next reply is in step";
}

ISOLATED_TEST(GetRoute, AReplyOfAnotherKindIsError10AndIsGone) {
    Fake_Daemon daemon;
    open_library();
    for (const int kind : {0, 1, 2, 3, 4, 5, 6, 7, 9, 10, 11, 12, 13, 14, 15, 16, 211, 8 << 8, -8, -1}) {
        daemon.run(send_record(route_reply(2, some_hops()).put_i32(0, kind)));
        const Route_Call call = get(2);
        EXPECT_EQ(Hb_Failure, call.result) << kind;
        EXPECT_EQ(10, call.error) << kind;
        EXPECT_TRUE(call.untouched());
    }
    daemon.run(send_record(route_reply(2, some_hops())));
    EXPECT_EQ(Hb_Success, get(2).result) << "the next reply is in step";
}

ISOLATED_TEST(GetRoute, AReplyThatTricklesInArrivesWhole) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(trickle_record(route_reply(2, some_hops())));
    const Route_Call call = get(2);
    EXPECT_EQ(Hb_Success, call.result);
    EXPECT_TRUE(same_bytes(some_hops(), call.route));
}

ISOLATED_TEST(GetRoute, WaitsForTheReplyForAsLongAsItTakes) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(
        {wait_for([] { return Signal_Pelter::hits() >= 30; }), send_record(route_reply(2, some_hops()))});
    const Signal_Pelter pelter;
    const Call_Log log;
    EXPECT_EQ(Hb_Success, get(2).result);
    EXPECT_TRUE(log.calls(Call::select_).empty()) << "no time-out";
}

ISOLATED_TEST(GetRoute, ADaemonThatHangsUpInsteadIsError16) {
    const Bytes whole = frame(route_reply(2, some_hops()));
    for (const std::size_t sent : {std::size_t{0}, std::size_t{1}, std::size_t{4}, whole.size() - 1}) {
        Fake_Daemon_Plan plan;
        plan.connections[0].insert(plan.connections[0].end(),
                                   {read_record(), send_raw(whole.first(sent)), hang_up()});
        Fake_Daemon daemon(plan);
        open_library();
        const Route_Call call = get(2);
        EXPECT_EQ(Hb_Failure, call.result);
        EXPECT_EQ(16, call.error) << sent;
        EXPECT_TRUE(call.untouched());
        EXPECT_EQ(Hb_Success, hb_terminate());
    }
}

ISOLATED_TEST(GetRoute, AReceiveThatFailsOtherwiseIsError12) {
    Fake_Daemon daemon;
    open_library();
    for (const int error : {EIO, EFAULT, ECONNRESET}) {
        const Fault_Guard fault = failing(Call::read_, error);
        const Route_Call call = get(2);
        EXPECT_EQ(Hb_Failure, call.result);
        EXPECT_EQ(12, call.error) << error;
        EXPECT_TRUE(call.untouched());
    }
}

ISOLATED_TEST(GetRoute, AReplyOfImpossibleLengthIsError12) {
    for (const int64_t length : {-1LL, 6298785LL}) {
        Fake_Daemon daemon;
        open_library();
        daemon.run(send_raw(Bytes().i32(length)));
        EXPECT_EQ(12, get(2).error);
        EXPECT_EQ(Hb_Success, hb_terminate());
    }
}

// ---- Arguments rejected before anything is sent ----

ISOLATED_TEST(GetRoute, ANodeOutOfRangeIsError4) {
    Fake_Daemon daemon;
    open_library();
    for (const int node : {-1, -2, -32768, 8, 9, 2048, 2049, 32767}) {
        const Route_Call call = get(node);
        EXPECT_EQ(Hb_Failure, call.result);
        EXPECT_EQ(4, call.error) << node;
        EXPECT_TRUE(call.untouched());
    }
    EXPECT_TRUE(same_bytes(only_the_known_request(), nothing_but_opening(daemon)));
}

ISOLATED_TEST(GetRoute, ANodeBeyondTheSlotsThereAreIsError4WhateverTheTableSays) {
    Fake_Daemon daemon;
    open_library();
    global_config_tbl.Hb_max_nodes = 30000;
    EXPECT_EQ(4, get(2049).error);
    EXPECT_EQ(4, get(29999).error);
    EXPECT_EQ(9, get(2048).error);
    EXPECT_TRUE(same_bytes(only_the_known_request(), nothing_but_opening(daemon)));
}

ISOLATED_TEST(GetRoute, ANodeWithoutAnAdapterIsError9) {
    Fake_Daemon daemon;
    open_library();
    for (const int node : {0, 3, 5, 6, 7}) {
        const Route_Call call = get(node);
        EXPECT_EQ(Hb_Failure, call.result);
        EXPECT_EQ(9, call.error) << node;
        EXPECT_TRUE(call.untouched());
    }
    EXPECT_TRUE(same_bytes(only_the_known_request(), nothing_but_opening(daemon)));
}

ISOLATED_TEST(GetRoute, ANullAnswerIsError4BeforeTheLibraryIsOpened) {
    Fake_Daemon daemon;
    EXPECT_EQ(4, error_without_answers(hb_get_route, 2, false, true));
    EXPECT_EQ(4, error_without_answers(hb_get_route, 2, true, false));
    EXPECT_EQ(4, error_without_answers(hb_get_route, 2, false, false));
    EXPECT_EQ(0, client_initialized);
    EXPECT_EQ(0, daemon.connections());
}

ISOLATED_TEST(GetRoute, OpensTheLibrary) {
    Fake_Daemon_Plan plan;
    plan.connections[0].push_back(read_record());
    plan.connections[0].push_back(send_record(route_reply(2, some_hops())));
    Fake_Daemon daemon(plan);
    EXPECT_EQ(Hb_Success, get(2).result);
    EXPECT_EQ(1, client_initialized);
}

ISOLATED_TEST(GetRoute, WhereTheLibraryCannotBeOpenedTheErrorIsThatOfOpening) {
    Fake_Daemon daemon;
    daemon.stop_listening();
    const Route_Call call = get(-1);
    EXPECT_EQ(Hb_Failure, call.result);
    EXPECT_EQ(15, call.error) << "the node is looked at later";
    EXPECT_TRUE(call.untouched());
}

ISOLATED_TEST(GetRoute, InClusterEventModeItIsError12AndNothingIsSent) {
    Fake_Daemon daemon;
    open_library();
    IsMOX = true;
    const Call_Log log;
    const Route_Call call = get(2);
    EXPECT_EQ(Hb_Failure, call.result);
    EXPECT_EQ(12, call.error);
    EXPECT_TRUE(call.untouched());
    EXPECT_EQ(4, get(8).error);
    EXPECT_EQ(9, get(3).error);
    EXPECT_TRUE(log.calls(Call::read_).empty());
    EXPECT_TRUE(log.calls(Call::writev_).empty());
}

ISOLATED_TEST(GetRoute, WithoutAConnectionItIsError22) {
    Fake_Daemon daemon;
    open_library();
    EXPECT_EQ(Hb_Success, hb_remove_socket());
    const Route_Call call = get(2);
    EXPECT_EQ(Hb_Failure, call.result);
    EXPECT_EQ(22, call.error);
    EXPECT_TRUE(call.untouched());
    EXPECT_EQ(1, daemon.connections());
}

ISOLATED_TEST(GetRoute, ARequestThatCannotBeSentGivesTheErrorOfSending) {
    ASSERT_NE(SIG_ERR, signal(SIGPIPE, SIG_IGN));
    const struct {
        int error;
        int number;
    } rows[] = {{EFAULT, 18}, {EIO, 21}, {EINVAL, 22}, {ENOBUFS, 22}, {EPIPE, 16}};
    for (const auto &row : rows) {
        Fake_Daemon daemon;
        open_library();
        {
            const Fault_Guard fault = failing(Call::writev_, row.error);
            const Call_Log log;
            const Route_Call call = get(2);
            EXPECT_EQ(Hb_Failure, call.result);
            EXPECT_EQ(row.number, call.error) << row.error;
            EXPECT_TRUE(call.untouched());
            EXPECT_TRUE(log.calls(Call::read_).empty()) << "no reply is waited for";
        }
        EXPECT_EQ(Hb_Success, hb_terminate());
    }
}

// ---- Memory ----

ISOLATED_TEST(GetRoute, GivesThePacketBackWhateverItWas) {
    Fake_Daemon daemon;
    open_library();
    const Bytes long_body = some_hops().fill(100000, 0xEE);
    const Bytes replies[] = {route_reply(2, long_body), route_reply(0, long_body),
                             route_reply(2, long_body).put_i32(0, 12)};
    const int errors[] = {0, 6, 10};
    std::size_t before = 0;
    for (int round = 0; round < 40; ++round) {
        for (std::size_t i = 0; i < 3; ++i) {
            daemon.run(send_record(replies[i]));
            EXPECT_EQ(errors[i], get(2).error);
        }
        EXPECT_TRUE(daemon.wait_steps_done());
        if (round == 0) {
            before = allocated_bytes();
        }
    }
    EXPECT_LT(allocated_bytes(), before + 1000000) << "120 packets of 100 kilobytes went by";
}

} // namespace
} // namespace hb_test
