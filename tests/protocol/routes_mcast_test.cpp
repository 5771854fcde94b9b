// SPDX-License-Identifier: Apache-2.0
// Asks the daemon to deliver a payload to several nodes.
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <numeric>
#include <string>
#include <sys/uio.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "tests/protocol/client.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/faults.h"
#include "tests/support/hb_communication.h"
#include "tests/support/hb_global_data.h"
#include "tests/support/isolated.h"

namespace hb_test {
namespace {

constexpr std::size_t CONFIGURATION_REQUEST = 80; // bytes that opening has sent

using Nodes = std::vector<int>;

iovec buffer(const Bytes &bytes) {
    return {const_cast<unsigned char *>(bytes.data()), bytes.size()};
}

// Makes the call and returns the error number that it sets, 0 on success.
int mcast(const std::vector<iovec> &buffers, int count, int port, Nodes &nodes, int n) {
    set_hb_errno(0);
    const Hb_Rc result = hb_daemon_route_mcast(buffers.data(), count, port, nodes.data(), n);
    EXPECT_EQ(result == Hb_Success, hb_get_errno() == 0);
    return hb_get_errno();
}

int mcast(const std::vector<iovec> &buffers, Nodes &nodes, int port = 1) {
    return mcast(buffers, static_cast<int>(buffers.size()), port, nodes, static_cast<int>(nodes.size()));
}

int mcast(const Bytes &payload, Nodes nodes) {
    return mcast({buffer(payload)}, nodes);
}

Nodes descending(int from, int count) {
    Nodes nodes(static_cast<std::size_t>(count));
    for (int &node : nodes) {
        node = from--;
    }
    return nodes;
}

Nodes ascending(int from, int count) {
    Nodes nodes(static_cast<std::size_t>(count));
    std::iota(nodes.begin(), nodes.end(), from);
    return nodes;
}

Bytes some_payload(std::size_t size) {
    Bytes payload;
    for (std::size_t i = 0; i < size; ++i) {
        payload.u8(static_cast<unsigned>(i * 7 + i / 256 + 1) & 0xFFU);
    }
    return payload;
}

// The request's record, with the port as it is sent.
Bytes mcast_record(const Bytes &port, const Nodes &nodes, const Bytes &payload) {
    Bytes body = port;
    body.i32(20).i32(1).zeros(36).i32(0).i32(static_cast<int64_t>(nodes.size()));
    for (const int node : nodes) {
        body.i32(node);
    }
    body.i32(static_cast<int64_t>(payload.size())).add(payload);
    return frame(request(221, getpid(), body));
}

const Bytes PORT_1 = {0, 1, 0, 0};

// The requests after the opening must be `expected` and then one that is always sent.
testing::AssertionResult sent(Fake_Daemon &daemon, const Bytes &expected) {
    EXPECT_EQ(Hb_Success, hb_discard_stale_messages(1));
    const Bytes all = Bytes(expected).add(frame(request(219, getpid())));
    return same_bytes(all,
                      daemon.wait_received(CONFIGURATION_REQUEST + all.size()).from(CONFIGURATION_REQUEST));
}

testing::AssertionResult nothing_sent(Fake_Daemon &daemon) {
    return sent(daemon, {});
}

// ---- The request ----

ISOLATED_TEST(RouteMcast, ToOneNodeIsThisRecord) {
    Fake_Daemon daemon;
    open_library();
    Nodes nodes = {0x0203};
    const Bytes payload = {0xC1, 0xC2, 0xC3, 0xC4, 0xC5};
    EXPECT_EQ(0, mcast({buffer(payload)}, nodes, 0x1234));
    Bytes expected = {145, 0, 0, 0};                              // the record's length: 76 and 69
    expected.zeros(8).add({221, 0, 0, 0, 69, 0, 0, 0}).zeros(48); // kind 221; 60 + 4 x 1 + 5 bytes follow
    expected.i32(getpid()).zeros(8);                              // the header ends
    expected.add({0x12, 0x34, 0, 0});                             // port, in network order
    expected.add({20, 0, 0, 0});                                  // ttl
    expected.add({1, 0, 0, 0});                                   // version
    expected.zeros(36);                                           // expansion
    expected.add({0, 0, 0, 0});                                   // not for WISP only
    expected.add({1, 0, 0, 0});                                   // one node
    expected.add({0x03, 0x02, 0, 0});                             // the node
    expected.add({5, 0, 0, 0});                                   // bytes of payload
    expected.add({0xC1, 0xC2, 0xC3, 0xC4, 0xC5});
    EXPECT_TRUE(sent(daemon, expected));
}

ISOLATED_TEST(RouteMcast, ToTwoNodesLeavesThemInTheirOrder) {
    Fake_Daemon daemon;
    open_library();
    Nodes nodes = {7, 2};
    EXPECT_EQ(0, mcast({buffer({9})}, nodes));
    EXPECT_EQ(Nodes({7, 2}), nodes);
    EXPECT_TRUE(sent(daemon, mcast_record(PORT_1, {7, 2}, {9})));
}

ISOLATED_TEST(RouteMcast, ToThreeNodesSortsThemInTheCallersArray) {
    Fake_Daemon daemon;
    open_library();
    Nodes nodes = {7, 2, 5};
    EXPECT_EQ(0, mcast({buffer({9})}, nodes));
    EXPECT_EQ(Nodes({2, 5, 7}), nodes);
    EXPECT_TRUE(sent(daemon, mcast_record(PORT_1, {2, 5, 7}, {9})));
}

ISOLATED_TEST(RouteMcast, SortsAsSignedIntsHoweverFarApart) {
    Fake_Daemon daemon;
    open_library();
    Nodes nodes = {INT_MAX, 0, INT_MIN, -1, 1};
    EXPECT_EQ(0, mcast({buffer({9})}, nodes));
    EXPECT_EQ(Nodes({INT_MIN, -1, 0, 1, INT_MAX}), nodes);
    EXPECT_TRUE(sent(daemon, mcast_record(PORT_1, {INT_MIN, -1, 0, 1, INT_MAX}, {9})));
}

ISOLATED_TEST(RouteMcast, Takes2049Nodes) {
    Fake_Daemon daemon;
    open_library();
    Nodes nodes = descending(2048, 2049);
    EXPECT_EQ(0, mcast({buffer({1, 2, 3})}, nodes));
    EXPECT_EQ(ascending(0, 2049), nodes);
    EXPECT_TRUE(sent(daemon, mcast_record(PORT_1, ascending(0, 2049), {1, 2, 3})));
}

ISOLATED_TEST(RouteMcast, LooksAtNFirstNodesOnly) {
    Fake_Daemon daemon;
    open_library();
    Nodes nodes = {9, 8, 7, 9, 1};
    EXPECT_EQ(0, mcast({buffer({1})}, 1, 1, nodes, 3));
    EXPECT_EQ(Nodes({7, 8, 9, 9, 1}), nodes);
    EXPECT_TRUE(sent(daemon, mcast_record(PORT_1, {7, 8, 9}, {1})));
}

ISOLATED_TEST(RouteMcast, PutsTheLow16BitsOfThePortInNetworkOrder) {
    Fake_Daemon daemon;
    open_library();
    const struct {
        int port;
        Bytes wire;
    } rows[] = {{0, {0, 0, 0, 0}},        {1, {0, 1, 0, 0}},
                {0x0100, {1, 0, 0, 0}},   {0xFFFF, {0xFF, 0xFF, 0, 0}},
                {0x10000, {0, 0, 0, 0}},  {0x7BCD1234, {0x12, 0x34, 0, 0}},
                {-1, {0xFF, 0xFF, 0, 0}}, {INT_MIN, {0, 0, 0, 0}},
                {-2, {0xFF, 0xFE, 0, 0}}};
    Bytes expected;
    for (const auto &row : rows) {
        Nodes nodes = {1};
        EXPECT_EQ(0, mcast({buffer({5})}, nodes, row.port));
        expected.add(mcast_record(row.wire, {1}, {5}));
    }
    EXPECT_TRUE(sent(daemon, expected));
}

ISOLATED_TEST(RouteMcast, JoinsUpToSixBuffers) {
    Fake_Daemon daemon;
    open_library();
    const Bytes parts[] = {{1}, {2, 3}, some_payload(300), {4}, {0}, {5, 6, 7}};
    std::vector<iovec> buffers;
    Bytes payload;
    Bytes expected;
    Nodes nodes = {1, 2};
    for (const Bytes &part : parts) {
        buffers.push_back(buffer(part));
        payload.add(part);
        EXPECT_EQ(0, mcast(buffers, nodes)) << buffers.size();
        expected.add(mcast_record(PORT_1, {1, 2}, payload));
    }
    EXPECT_TRUE(sent(daemon, expected));
}

ISOLATED_TEST(RouteMcast, WithoutBuffersHasAnEmptyPayload) {
    Fake_Daemon daemon;
    open_library();
    Nodes nodes = {3, 1, 2};
    EXPECT_EQ(0, mcast({iovec{nullptr, 0}}, 0, 1, nodes, 3)) << "the buffer there is not counted";
    EXPECT_TRUE(sent(daemon, mcast_record(PORT_1, {1, 2, 3}, {})));
}

ISOLATED_TEST(RouteMcast, LooksAtCountFirstBuffersOnly) {
    Fake_Daemon daemon;
    open_library();
    const Bytes part = {1, 2};
    Nodes nodes = {1};
    EXPECT_EQ(0, mcast({buffer(part), {nullptr, 0}, {nullptr, SIZE_MAX}}, 1, 1, nodes, 1));
    EXPECT_TRUE(sent(daemon, mcast_record(PORT_1, {1}, part)));
}

ISOLATED_TEST(RouteMcast, AwaitsNoReply) {
    Fake_Daemon daemon;
    open_library();
    const Call_Log log;
    EXPECT_EQ(0, mcast(Bytes{1}, {1}));
    EXPECT_EQ(1U, log.calls(Call::writev_).size());
    EXPECT_TRUE(log.calls(Call::read_).empty());
    EXPECT_TRUE(log.calls(Call::select_).empty());
    EXPECT_TRUE(log.calls(Call::poll_).empty());
}

ISOLATED_TEST(RouteMcast, ANodeNeedNotBeInTheConfiguration) {
    Fake_Daemon daemon;
    open_library();
    Nodes nodes = {30000, -5};
    EXPECT_EQ(0, mcast({buffer({1})}, nodes));
    EXPECT_TRUE(sent(daemon, mcast_record(PORT_1, {30000, -5}, {1})));
}

// ---- Arguments that are rejected ----

ISOLATED_TEST(RouteMcast, NullPointersAreError4) {
    Fake_Daemon daemon;
    open_library();
    const Bytes part = {1};
    const iovec one = buffer(part);
    int nodes[] = {3, 2, 1};
    for (const int count : {0, 1}) {
        set_hb_errno(0);
        EXPECT_EQ(Hb_Failure, hb_daemon_route_mcast(nullptr, count, 1, nodes, 3));
        EXPECT_EQ(4, hb_get_errno());
        set_hb_errno(0);
        EXPECT_EQ(Hb_Failure, hb_daemon_route_mcast(&one, count, 1, nullptr, 1));
        EXPECT_EQ(4, hb_get_errno());
    }
    EXPECT_EQ(3, nodes[0]) << "not sorted yet";
    EXPECT_TRUE(nothing_sent(daemon));
}

ISOLATED_TEST(RouteMcast, ACountOfBuffersOutsideZeroToSixIsError4) {
    Fake_Daemon daemon;
    open_library();
    const Bytes part = {1};
    const std::vector<iovec> seven(7, buffer(part));
    for (const int count : {-1, 7, INT_MIN, INT_MAX}) {
        Nodes nodes = {3, 2, 1};
        EXPECT_EQ(4, mcast(seven, count, 1, nodes, 3)) << count;
        EXPECT_EQ(Nodes({3, 2, 1}), nodes) << "not sorted yet";
    }
    EXPECT_TRUE(nothing_sent(daemon));
}

ISOLATED_TEST(RouteMcast, ANumberOfNodesOutside1To2049IsError4) {
    Fake_Daemon daemon;
    open_library();
    const Bytes part = {1};
    for (const int n : {0, -1, 2050, INT_MIN, INT_MAX}) {
        Nodes nodes = descending(2049, 2050);
        EXPECT_EQ(4, mcast({buffer(part)}, 1, 1, nodes, n)) << n;
        EXPECT_EQ(descending(2049, 2050), nodes) << "not sorted yet";
    }
    EXPECT_TRUE(nothing_sent(daemon));
}

ISOLATED_TEST(RouteMcast, ANodeThatStandsThereTwiceIsError4) {
    Fake_Daemon daemon;
    open_library();
    const struct {
        Nodes given;
        Nodes left;
    } rows[] = {{{5, 5}, {5, 5}},
                {{3, 1, 3}, {1, 3, 3}},
                {{1, 1, 2}, {1, 1, 2}},
                {{2, 1, 1}, {1, 1, 2}},
                {{4, 3, 2, 1, 4}, {1, 2, 3, 4, 4}},
                {{-1, 0, -1}, {-1, -1, 0}}};
    for (const auto &row : rows) {
        Nodes nodes = row.given;
        EXPECT_EQ(4, mcast({buffer({1})}, nodes));
        EXPECT_EQ(row.left, nodes);
    }
    Nodes most = descending(2047, 2048);
    most.push_back(2047);
    EXPECT_EQ(4, mcast({buffer({1})}, most));
    EXPECT_EQ(2047, most[2047]);
    EXPECT_EQ(2047, most[2048]);
    EXPECT_TRUE(nothing_sent(daemon));
}

ISOLATED_TEST(RouteMcast, AnEmptyBufferRefusesTheWholeRequest) {
    Fake_Daemon daemon;
    open_library();
    const Bytes part = {1};
    for (std::size_t count = 1; count <= 6; ++count) {
        for (std::size_t empty = 0; empty < count; ++empty) {
            for (const iovec &bad : {iovec{nullptr, 1}, iovec{buffer(part).iov_base, 0}, iovec{nullptr, 0}}) {
                std::vector<iovec> buffers(count, buffer(part));
                buffers[empty] = bad;
                Nodes nodes = {1, 2};
                EXPECT_EQ(4, mcast(buffers, nodes)) << empty << " of " << count;
            }
        }
    }
    EXPECT_TRUE(nothing_sent(daemon));
}

ISOLATED_TEST(RouteMcast, HasSortedTheNodesByTheTimeItLooksAtTheBuffers) {
    Fake_Daemon daemon;
    open_library();
    Nodes nodes = {7, 2, 5};
    EXPECT_EQ(4, mcast({iovec{nullptr, 1}}, nodes));
    EXPECT_EQ(Nodes({2, 5, 7}), nodes);
    nodes = {7, 2, 5};
    EXPECT_EQ(53, mcast({buffer(some_payload(10001))}, nodes));
    EXPECT_EQ(Nodes({2, 5, 7}), nodes);
    nodes = {7, 2};
    EXPECT_EQ(4, mcast({iovec{nullptr, 1}}, nodes));
    EXPECT_EQ(Nodes({7, 2}), nodes);
    EXPECT_TRUE(nothing_sent(daemon));
}

ISOLATED_TEST(RouteMcast, LooksForEmptyBuffersBeforeItAddsTheLengths) {
    Fake_Daemon daemon;
    open_library();
    const Bytes large = some_payload(10001);
    Nodes nodes = {1};
    EXPECT_EQ(4, mcast({buffer(large), iovec{nullptr, 1}}, nodes));
    nodes = {1, 1};
    EXPECT_EQ(4, mcast({buffer(large)}, nodes)) << "and for nodes that stand there twice before that";
    EXPECT_TRUE(nothing_sent(daemon));
}

// ---- Sizes ----

ISOLATED_TEST(RouteMcast, APayloadOfTenThousandBytesIsError53BecauseTheRequestIsLarger) {
    Fake_Daemon daemon;
    open_library();
    EXPECT_EQ(53, mcast(some_payload(10000), {1}));
    EXPECT_EQ(53, mcast(some_payload(10001), {1}));
    EXPECT_EQ(53, mcast(some_payload(16400), {1}));
    EXPECT_EQ(53, mcast(some_payload(16461), {1}));
    EXPECT_TRUE(nothing_sent(daemon));
}

ISOLATED_TEST(RouteMcast, ARequestOfTenThousandBytesIsTheLargest) {
    Fake_Daemon daemon;
    open_library();
    Bytes expected;
    const struct {
        int nodes;
        std::size_t payload;
    } rows[] = {{1, 9936}, {2, 9932}, {3, 9928}, {2049, 1744}};
    for (const auto &row : rows) {
        const Bytes payload = some_payload(row.payload);
        EXPECT_EQ(0, mcast(payload, ascending(0, row.nodes))) << row.nodes;
        const Bytes record = mcast_record(PORT_1, ascending(0, row.nodes), payload);
        EXPECT_EQ(4U + 76U + 10000U, record.size());
        expected.add(record);
        EXPECT_EQ(53, mcast(some_payload(row.payload + 1), ascending(0, row.nodes))) << row.nodes;
    }
    EXPECT_TRUE(sent(daemon, expected));
}

ISOLATED_TEST(RouteMcast, CountsTheBuffersTogether) {
    Fake_Daemon daemon;
    open_library();
    const Bytes part = some_payload(1656); // six of them are the 9936 bytes that go to one node
    const Bytes longer = some_payload(1657);
    std::vector<iovec> buffers(6, buffer(part));
    Nodes nodes = {1};
    EXPECT_EQ(0, mcast(buffers, nodes));
    buffers[5] = buffer(longer);
    EXPECT_EQ(53, mcast(buffers, nodes));
    Bytes payload;
    for (int i = 0; i < 6; ++i) {
        payload.add(part);
    }
    EXPECT_TRUE(sent(daemon, mcast_record(PORT_1, {1}, payload)));
}

ISOLATED_TEST(RouteMcast, LengthsWhoseSumWrapsAreError53AndNothingOfThemIsRead) {
    Fake_Daemon daemon;
    open_library();
    unsigned char byte = 1;
    const auto of = [&byte](std::size_t length) { return iovec{&byte, length}; };
    const std::vector<std::vector<iovec>> rows = {
        {of(SIZE_MAX)},
        {of(SIZE_MAX), of(1)},
        {of(SIZE_MAX - 4), of(10)},
        {of(1), of(SIZE_MAX), of(SIZE_MAX), of(SIZE_MAX), of(SIZE_MAX), of(SIZE_MAX)},
        {of(SIZE_MAX / 2 + 1), of(SIZE_MAX / 2 + 1)},
        {of(SIZE_MAX / 2 + 1), of(SIZE_MAX / 2 + 1), of(1)},
        {of(static_cast<std::size_t>(INT_MAX) + 1)},
        {of(0x80000000U), of(0x80000000U), of(1)}, // 2^32 and 1
        {of(SIZE_MAX - 59)},                       // and the 60 bytes of the request around it
        {of(SIZE_MAX - 63)},
    };
    for (std::size_t i = 0; i < rows.size(); ++i) {
        Nodes nodes = {1};
        EXPECT_EQ(53, mcast(rows[i], nodes)) << i;
    }
    EXPECT_TRUE(nothing_sent(daemon));
}

// ---- Opening, modes, sending ----

ISOLATED_TEST(RouteMcast, OpensTheLibrary) {
    Fake_Daemon daemon;
    EXPECT_EQ(0, mcast(Bytes{1}, {1}));
    EXPECT_EQ(1, client_initialized);
    EXPECT_TRUE(sent(daemon, mcast_record(PORT_1, {1}, {1})));
}

ISOLATED_TEST(RouteMcast, WhereTheLibraryCannotBeOpenedTheErrorIsThatOfOpening) {
    Fake_Daemon daemon;
    daemon.stop_listening();
    Nodes nodes = {3, 2, 1};
    EXPECT_EQ(15, mcast({iovec{nullptr, 0}}, 99, 1, nodes, 3));
    EXPECT_EQ(15, mcast({buffer({1})}, nodes));
    EXPECT_EQ(Nodes({3, 2, 1}), nodes);
}

ISOLATED_TEST(RouteMcast, InClusterEventModeSucceedsAndSendsNothing) {
    Fake_Daemon daemon;
    open_library();
    IsMOX = true;
    const Call_Log log;
    Nodes nodes = {3, 1, 2};
    EXPECT_EQ(0, mcast({buffer({1})}, nodes));
    EXPECT_EQ(Nodes({1, 2, 3}), nodes);
    EXPECT_EQ(4, mcast(Bytes{1}, {1, 1}));
    EXPECT_EQ(53, mcast(some_payload(10000), {1}));
    EXPECT_TRUE(log.calls(Call::writev_).empty());
}

ISOLATED_TEST(RouteMcast, WithoutAConnectionItIsError22) {
    Fake_Daemon daemon;
    open_library();
    EXPECT_EQ(Hb_Success, hb_remove_socket());
    EXPECT_EQ(22, mcast(Bytes{1}, {1}));
}

ISOLATED_TEST(RouteMcast, ARequestThatCannotBeSentGivesTheErrorOfSending) {
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
            EXPECT_EQ(row.number, mcast(Bytes{1}, {1}));
        }
        EXPECT_EQ(Hb_Success, hb_terminate());
    }
}

} // namespace
} // namespace hb_test
