// SPDX-License-Identifier: Apache-2.0
// Control requests against bytes written by hand: what is sent, what is not sent, and what the answers mean.
#include <arpa/inet.h>
#include <cstring>
#include <functional>
#include <string>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "lib/api/control.h"
#include "lib/base/error_number.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/operating_mode.h"
#include "tests/protocol/client.h"
#include "tests/support/faults.h"
#include "tests/support/isolated.h"

namespace hb_test {
namespace {

constexpr int ERROR_BEFORE = 777;

// In the table node 1 is the local node, with adapters 2 (network 0) and 3 (network 1). There are 8 node slots
// of 2 adapters. Adapter 4 belongs to node 2; 6 and 1 are not configured.
constexpr unsigned OWN = 3;
constexpr unsigned OTHERS = 4;
constexpr unsigned UNKNOWN = 6;
constexpr unsigned BEYOND = 16;

Hb_IP_address4 address(const char *text) {
    Hb_IP_address4 result{};
    inet_pton(AF_INET, text, &result);
    return result;
}

struct Asked {
    Hb_Rc result;
    int error;
};

Asked ask(const std::function<Hb_Rc()> &call) {
    set_hb_errno(ERROR_BEFORE);
    const Hb_Rc result = call();
    return {result, hb_get_errno()};
}

void expect_success(const Asked &asked) {
    EXPECT_EQ(Hb_Success, asked.result);
    EXPECT_EQ(ERROR_BEFORE, asked.error) << "success leaves the error number alone";
}

void expect_error(int number, const Asked &asked) {
    EXPECT_EQ(Hb_Failure, asked.result);
    EXPECT_EQ(number, asked.error);
}

// The configuration request that opening sends: its length and its 76 bytes.
constexpr std::size_t OPENING = 80;

// Returns whether exactly this one record was sent since the library was opened.
testing::AssertionResult sent(Fake_Daemon &daemon, const Bytes &record) {
    const Bytes expected = frame(record);
    daemon.wait_received(OPENING + expected.size());
    return same_bytes(expected, daemon.received().from(OPENING));
}

// A sentinel request is the first to arrive after the opening, so nothing was sent before it.
testing::AssertionResult nothing_was_sent(Fake_Daemon &daemon) {
    EXPECT_EQ(Hb_Success, hb_discard_stale_messages(0));
    return sent(daemon, request(220, getpid()));
}

// ---- Requests without an answer ----

struct Silent {
    const char *name;
    std::function<Hb_Rc()> call;
    int kind;
    Bytes message; // after the 76 bytes
    int len;       // in the header
};

std::vector<Silent> silent_requests() {
    static char eth0[] = "eth0";
    static char all[] = "";
    return {
        {"node may be down", [] { return hb_node_may_be_down(2); }, 203, Bytes{0, 0}, 2},
        {"node is down", [] { return hb_node_is_down(4); }, 204, Bytes{0, 0, 0, 0}, 4},
        {"adapter may be down", [] { return hb_adapter_may_be_down(8); }, 205, Bytes().zeros(8), 8},
        {"adapter is down", [] { return hb_adapter_is_down(5); }, 206, Bytes().zeros(5), 5},
        {"enable", [] { return hb_enable_adapter(OWN); }, 207, Bytes{1, 0}, 2},
        {"disable", [] { return hb_disable_adapter(2); }, 208, Bytes{0, 0}, 2},
        {"ifconfig down", [] { return hb_ifconfig_down(OWN); }, 212, Bytes{1, 0}, 2},
        {"ifconfig up", [] { return hb_ifconfig_up(OWN); }, 213, Bytes{1, 0}, 2},
        {"simulate death", [] { return hb_simulate_death(-2); }, 217, Bytes{0xFE, 0xFF, 0xFF, 0xFF}, 4},
        {"discard", [] { return hb_discard_stale_messages(1); }, 219, Bytes{}, 0},
        {"do not discard", [] { return hb_discard_stale_messages(0); }, 220, Bytes{}, 0},
        {"do not discard for 2", [] { return hb_discard_stale_messages(2); }, 220, Bytes{}, 0},
        {"heartbeat", [] { return hb_client_heartbeat(0x01020304UL); }, 222, Bytes{4, 3, 2, 1}, 4},
        {"heartbeat of 64 bits",
         [] { return hb_client_heartbeat(static_cast<unsigned long>(0xAA01020304ULL)); }, 222,
         Bytes{4, 3, 2, 1}, 4},
        {"manual control", [] { return hb_nim_manual_start_control(1, eth0); }, 225, Bytes{'e', 't', 'h', '0'},
         4},
        {"no manual control", [] { return hb_nim_manual_start_control(2, eth0); }, 226,
         Bytes{'e', 't', 'h', '0'}, 4},
        {"manual control of all", [] { return hb_nim_manual_start_control(1, all); }, 225, Bytes{}, 0},
        {"shutdown", [] { return hb_mox_delayed_daemon_shutdown(); }, 227, Bytes{}, 0},
    };
}

// The same as request() of the test support, with the length given separately from the message.
Bytes record_of(int kind, int len, const Bytes &message) {
    return Bytes().zeros(8).i32(kind).i32(len).zeros(48).i32(getpid()).zeros(8).add(message);
}

ISOLATED_TEST(Control_Request, WithoutAnAnswerIsSentAsItsBytesAre) {
    for (const Silent &each : silent_requests()) {
        Fake_Daemon daemon;
        open_library();
        const Call_Log log;
        expect_success(ask(each.call));
        EXPECT_TRUE(sent(daemon, record_of(each.kind, each.len, each.message))) << each.name;
        EXPECT_TRUE(log.calls(Call::select_).empty()) << each.name << " waits for nothing";
        hb_terminate();
    }
}

ISOLATED_TEST(Control_Request, OpensTheLibraryAndFailsAsThatDoes) {
    static char name[] = "eth0";
    int state = 0;
    const std::vector<std::function<Hb_Rc()>> all = {
        [] { return hb_node_may_be_down(1); },
        [] { return hb_node_is_down(1); },
        [] { return hb_adapter_may_be_down(2); },
        [] { return hb_adapter_is_down(2); },
        [] { return hb_enable_adapter(2); },
        [] { return hb_disable_adapter(2); },
        [] { return hb_ifconfig_down(2); },
        [] { return hb_ifconfig_up(2); },
        [] { return hb_configure_adapter(2, address("10.1.0.9")); },
        [] { return hb_unconfigure_adapter(2); },
        [] { return hb_adapter_grace(2, 5); },
        [] { return hb_simulate_death(5); },
        [] { return hb_swap_adapters(2, address("10.2.0.1")); },
        [] { return hb_discard_stale_messages(1); },
        [] { return hb_client_heartbeat(1); },
        [&] { return hb_get_adapter_state(2, &state); },
        [] { return hb_nim_manual_start_control(3, name); },
        [] { return hb_mox_delayed_daemon_shutdown(); },
    };
    {
        Fake_Daemon_Plan plan;
        plan.connections = {{read_record(), hang_up()}};
        Fake_Daemon daemon(plan);
        for (const auto &call : all) {
            expect_error(16, ask(call));
        }
        EXPECT_EQ(18, daemon.connections()) << "each tried anew";
    }
}

ISOLATED_TEST(Control_Request, OfNode3Has79Bytes) {
    Cluster_Facts cluster = small_cluster();
    cluster.adapters.push_back({6, 0, ipv4(10, 1, 0, 3), "eth0", 1});
    Fake_Daemon_Plan plan;
    plan.connections = {serve_configuration(snapshot(cluster))};
    Fake_Daemon daemon(plan);
    open_library();
    expect_success(ask([] { return hb_node_is_down(3); }));
    const Bytes all = daemon.wait_received(OPENING + 83).from(OPENING);
    ASSERT_EQ(83U, all.size());
    EXPECT_EQ(79, all.i32_at(0)) << "the record's length";
    EXPECT_EQ(204, all.i32_at(12));
    EXPECT_EQ(3, all.i32_at(16));
    EXPECT_TRUE(same_bytes(Bytes{0, 0, 0}, all.from(80)));
}

ISOLATED_TEST(Control_Request, OfTheHighestNumbersCarriesAsManyZeros) {
    Cluster_Facts cluster;
    cluster.local_node = 0;
    cluster.max_nodes = 2049;
    cluster.adapters_per_node = 48;
    cluster.adapters = {{98351, 47, ipv4(10, 9, 9, 9), "eth47", 1}};
    cluster.networks = {{"net_a", "ether"}};
    Fake_Daemon_Plan plan;
    plan.connections = {serve_configuration(snapshot(cluster))};
    plan.segments = segments_for(2049);
    Fake_Daemon daemon(plan);
    open_library();
    expect_success(ask([] { return hb_adapter_is_down(98351); }));
    const Bytes expected = frame(record_of(206, 98351, Bytes().zeros(98351)));
    EXPECT_EQ(98427, expected.i32_at(0));
    daemon.wait_received(OPENING + expected.size());
    EXPECT_TRUE(same_bytes(expected, daemon.received().from(OPENING)));
    expect_success(ask([] { return hb_node_may_be_down(2048); }));
    const Bytes second = frame(record_of(203, 2048, Bytes().zeros(2048)));
    daemon.wait_received(OPENING + expected.size() + second.size());
    EXPECT_TRUE(same_bytes(second, daemon.received().from(OPENING + expected.size())));
}

// ---- Checks ----

ISOLATED_TEST(Control_Request, AboutANodeOutOfRangeIsError4) {
    Fake_Daemon daemon;
    open_library();
    for (const short node : std::initializer_list<short>{-32768, -1, 8, 2049, 32767}) {
        expect_error(4, ask([node] { return hb_node_may_be_down(node); }));
        expect_error(4, ask([node] { return hb_node_is_down(node); }));
    }
    EXPECT_TRUE(nothing_was_sent(daemon));
}

ISOLATED_TEST(Control_Request, AboutANodeThatIsNotConfiguredIsError9) {
    Fake_Daemon daemon;
    open_library();
    for (const short node : std::initializer_list<short>{0, 3, 7}) {
        expect_error(9, ask([node] { return hb_node_may_be_down(node); }));
        expect_error(9, ask([node] { return hb_node_is_down(node); }));
    }
    EXPECT_TRUE(nothing_was_sent(daemon));
}

ISOLATED_TEST(Control_Request, AboutAnAdapterOutOfRangeIsError4AndOneNotConfiguredError7) {
    Fake_Daemon daemon;
    open_library();
    for (const unsigned adapter : {BEYOND, 98352U, 0xFFFFFFFFU}) {
        expect_error(4, ask([=] { return hb_adapter_may_be_down(adapter); }));
        expect_error(4, ask([=] { return hb_adapter_is_down(adapter); }));
    }
    for (const unsigned adapter : {0U, UNKNOWN, 15U}) {
        expect_error(7, ask([=] { return hb_adapter_may_be_down(adapter); }));
        expect_error(7, ask([=] { return hb_adapter_is_down(adapter); }));
    }
    EXPECT_TRUE(nothing_was_sent(daemon));
}

std::vector<std::function<Hb_Rc(unsigned)>> local_requests() {
    static int state = 0;
    return {
        [](unsigned adapter) { return hb_enable_adapter(adapter); },
        [](unsigned adapter) { return hb_disable_adapter(adapter); },
        [](unsigned adapter) { return hb_ifconfig_down(adapter); },
        [](unsigned adapter) { return hb_ifconfig_up(adapter); },
        [](unsigned adapter) { return hb_configure_adapter(adapter, address("10.1.0.9")); },
        [](unsigned adapter) { return hb_unconfigure_adapter(adapter); },
        [](unsigned adapter) { return hb_adapter_grace(adapter, 5); },
        [](unsigned adapter) { return hb_swap_adapters(adapter, address("10.2.0.1")); },
        [](unsigned adapter) { return hb_get_adapter_state(adapter, &state); },
    };
}

ISOLATED_TEST(LocalAdapterRequest, IsForConfiguredAdaptersOfThisNode) {
    Fake_Daemon daemon;
    open_library();
    for (const auto &call : local_requests()) {
        expect_error(4, ask([&] { return call(BEYOND); }));
        expect_error(4, ask([&] { return call(0xFFFFFFFFU); }));
        expect_error(7, ask([&] { return call(UNKNOWN); }));
        expect_error(4, ask([&] { return call(OTHERS); }));
        expect_error(7, ask([&] { return call(1); })); // configuration is checked before ownership
    }
    EXPECT_TRUE(nothing_was_sent(daemon));
}

ISOLATED_TEST(LocalAdapterRequest, IsForNobodyWhileTheLocalNodeIsNegative) {
    Cluster_Facts cluster = small_cluster();
    cluster.local_node = -1;
    Fake_Daemon_Plan plan;
    plan.connections = {serve_configuration(snapshot(cluster))};
    Fake_Daemon daemon(plan);
    open_library();
    ASSERT_EQ(-1, global_config_tbl.local_node_number);
    for (const auto &call : local_requests()) {
        expect_error(4, ask([&] { return call(2); }));
        expect_error(4, ask([&] { return call(8); }));
    }
    EXPECT_TRUE(nothing_was_sent(daemon));
}

ISOLATED_TEST(LocalAdapterRequest, TakesTheFirstAndTheLastOfTheNode) {
    Fake_Daemon daemon;
    open_library();
    EXPECT_EQ(Hb_Success, hb_enable_adapter(2));
    EXPECT_EQ(Hb_Success, hb_enable_adapter(3));
}

ISOLATED_TEST(LocalAdapterRequest, OfTheInternalEntryCarriesDataWhenThereIsSome) {
    Fake_Daemon daemon;
    open_library();
    unsigned char data[4] = {0x11, 0x22, 0x33, 0x44};
    EXPECT_EQ(Hb_Success, hb_config_local_adapter(OWN, HB_ADAPTER_GRACE_REQ, data));
    EXPECT_TRUE(sent(daemon, request(216, getpid(), {1, 0, 0, 0, 0x11, 0x22, 0x33, 0x44})));
}

ISOLATED_TEST(ManualControl, IsEnabledOrDisabledAndNothingElse) {
    Fake_Daemon daemon;
    open_library();
    char name[] = "eth0";
    for (const int control : {-1, 0, 3, 225}) {
        expect_error(4, ask([&] { return hb_nim_manual_start_control(control, name); }));
    }
    EXPECT_TRUE(nothing_was_sent(daemon));
}

ISOLATED_TEST(NullPointers, AreError4AndNothingIsSentOrOpened) {
    Fake_Daemon daemon;
    expect_error(4, ask([] { return hb_nim_manual_start_control(1, nullptr); }));
    expect_error(4, ask([] { return hb_get_adapter_state(2, nullptr); }));
    EXPECT_EQ(0, daemon.connections());
    open_library();
    expect_error(4, ask([] { return hb_nim_manual_start_control(1, nullptr); }));
    expect_error(4, ask([] { return hb_get_adapter_state(2, nullptr); }));
    EXPECT_TRUE(nothing_was_sent(daemon));
}

// ---- Requests with an answer ----

struct Answered {
    const char *name;
    std::function<Hb_Rc()> call;
    int kind;
    Bytes message;
    int reply_kind;
    std::vector<std::pair<int64_t, int>> errors; // status, error number
};

int given_state = 0;

std::vector<Answered> answered_requests() {
    return {
        {"configure",
         [] { return hb_configure_adapter(OWN, address("10.1.2.3")); },
         214,
         {1, 0, 0, 0, 10, 1, 2, 3},
         10,
         {{1, 8}, {3, 3}, {4, 7}, {5, 50}, {6, 51}, {2, 10}, {7, 10}, {8, 10}, {9, 10}, {-1, 10}, {256, 10}}},
        {"unconfigure",
         [] { return hb_unconfigure_adapter(OWN); },
         215,
         {1, 0},
         10,
         {{1, 8}, {3, 3}, {4, 7}, {2, 10}, {5, 10}, {6, 10}, {7, 10}, {-1, 10}}},
        {"grace",
         [] { return hb_adapter_grace(OWN, 0x01020304); },
         216,
         {1, 0, 0, 0, 4, 3, 2, 1},
         11,
         {{1, 8}, {7, 52}, {8, 55}, {9, 56}, {2, 10}, {3, 10}, {4, 10}, {5, 10}, {6, 10}, {10, 10}, {-1, 10}}},
        {"swap",
         [] { return hb_swap_adapters(OWN, address("10.1.0.1")); },
         218,
         {1, 0, 0, 0, 10, 1, 0, 1},
         10,
         {{1, 8}, {3, 3}, {4, 7}, {2, 10}, {5, 10}, {6, 10}, {9, 10}, {-1, 10}}},
        {"adapter state",
         [] { return hb_get_adapter_state(OWN, &given_state); },
         223,
         {1, 0},
         14,
         {{1, 8}, {4, 7}, {2, 10}, {3, 10}, {5, 10}, {7, 10}, {-1, 10}}},
    };
}

Bytes answer(int kind, int64_t status, const Bytes &body = {}) {
    Reply_Header header;
    header.kind = kind;
    header.value = status;
    return reply(header, body);
}

ISOLATED_TEST(AnsweredRequest, IsSentOnceAndSucceedsWithStatus0) {
    for (const Answered &each : answered_requests()) {
        Fake_Daemon daemon;
        open_library();
        given_state = -5;
        daemon.run({send_record(answer(each.reply_kind, 0, {7, 0, 0, 0x80}))});
        expect_success(ask(each.call));
        EXPECT_TRUE(sent(daemon, request(each.kind, getpid(), each.message))) << each.name;
        EXPECT_EQ(each.kind == 223 ? static_cast<int>(0x80000007) : -5, given_state);
        hb_terminate();
    }
}

ISOLATED_TEST(AnsweredRequest, TellsEachStatusAsItsErrorNumber) {
    for (const Answered &each : answered_requests()) {
        Fake_Daemon daemon;
        open_library();
        given_state = -5;
        for (const auto &[status, error] : each.errors) {
            daemon.run({send_record(answer(each.reply_kind, status, {1, 0, 0, 0}))});
            SCOPED_TRACE(std::string(each.name) + ", status " + std::to_string(status));
            expect_error(error, ask(each.call));
        }
        EXPECT_EQ(-5, given_state);
        hb_terminate();
    }
}

ISOLATED_TEST(AnsweredRequest, TakesAnAnswerThatEndsBehindItsStatus) {
    for (const Answered &each : answered_requests()) {
        Fake_Daemon daemon;
        open_library();
        SCOPED_TRACE(each.name);
        daemon.run({send_record(answer(each.reply_kind, 1).first(60))});
        expect_error(8, ask(each.call));
        for (const std::size_t length : {0U, 3U, 4U, 56U, 59U}) {
            daemon.run({send_record(answer(each.reply_kind, 0, {1, 0, 0, 0}).first(length))});
            expect_error(10, ask(each.call));
        }
        hb_terminate();
    }
}

ISOLATED_TEST(AnsweredRequest, ForAStateNeedsTheWholeStateWord) {
    Fake_Daemon daemon;
    open_library();
    int state = -5;
    for (const std::size_t length : {60U, 107U, 108U, 111U}) {
        daemon.run({send_record(answer(14, 0, {1, 0, 0, 0}).first(length))});
        expect_error(10, ask([&] { return hb_get_adapter_state(OWN, &state); }));
    }
    EXPECT_EQ(-5, state);
    daemon.run({send_record(answer(14, 0, {2, 0, 0, 0, 9, 9}))});
    expect_success(ask([&] { return hb_get_adapter_state(OWN, &state); }));
    EXPECT_EQ(2, state);
}

ISOLATED_TEST(AnsweredRequest, WithAnotherKindIsError10AndThatRecordIsGone) {
    for (const Answered &each : answered_requests()) {
        Fake_Daemon daemon;
        open_library();
        SCOPED_TRACE(each.name);
        for (const int kind : {0, 9, 12, 15}) {
            daemon.run({send_record(answer(kind, 0, Bytes().zeros(200)))});
            expect_error(10, ask(each.call));
        }
        daemon.run({send_record(answer(each.reply_kind, 0, {1, 0, 0, 0}))});
        expect_success(ask(each.call));
        hb_terminate();
    }
}

ISOLATED_TEST(AnsweredRequest, IsError16WhenTheDaemonCloses) {
    for (const Answered &each : answered_requests()) {
        Fake_Daemon_Plan plan;
        plan.connections[0].push_back(read_record());
        plan.connections[0].push_back(hang_up());
        Fake_Daemon daemon(plan);
        open_library();
        SCOPED_TRACE(each.name);
        expect_error(16, ask(each.call));
        hb_terminate();
    }
}

ISOLATED_TEST(AnsweredRequest, WaitsAtMost55SecondsButForGraceWithoutLimit) {
    EXPECT_EQ(55, reply_from_server_deftimeout.tv_sec);
    EXPECT_EQ(0, reply_from_server_deftimeout.tv_usec);
    for (const Answered &each : answered_requests()) {
        Fake_Daemon daemon;
        open_library();
        SCOPED_TRACE(each.name);
        daemon.run({send_record(answer(each.reply_kind, 0, {1, 0, 0, 0}))});
        const Call_Log log;
        expect_success(ask(each.call));
        const std::vector<Call_Record> waits = log.calls(Call::select_);
        if (each.kind == 216) {
            EXPECT_TRUE(waits.empty());
        } else {
            ASSERT_EQ(1U, waits.size());
            EXPECT_EQ(55, waits[0].arguments[1]);
            EXPECT_EQ(0, waits[0].arguments[2]);
        }
        hb_terminate();
    }
}

ISOLATED_TEST(AnsweredRequest, IsError2WhenNoAnswerComesInTime) {
    for (const Answered &each : answered_requests()) {
        if (each.kind == 216) {
            continue;
        }
        Fake_Daemon daemon;
        open_library();
        SCOPED_TRACE(each.name);
        Fault nothing_ready;
        nothing_ready.call = Call::select_; // returns 0: time-out
        const Fault_Guard fault(nothing_ready);
        expect_error(2, ask(each.call));
        EXPECT_EQ(1, fault.hits());
        hb_terminate();
    }
}

ISOLATED_TEST(AnsweredRequest, IsError12WhenWaitingFails) {
    for (const Answered &each : answered_requests()) {
        if (each.kind == 216) {
            continue;
        }
        Fake_Daemon daemon;
        open_library();
        SCOPED_TRACE(each.name);
        const Fault_Guard fault = failing(Call::select_, EINVAL);
        expect_error(12, ask(each.call));
        hb_terminate();
    }
}

// ---- Swapping addresses ----

ISOLATED_TEST(SwapAdapters, LooksForTheOwnerOfTheAddressFirst) {
    Fake_Daemon daemon;
    open_library();
    expect_error(7, ask([] { return hb_swap_adapters(BEYOND, address("10.7.7.7")); }));
    expect_error(4, ask([] { return hb_swap_adapters(UNKNOWN, address("10.1.0.2")); }));
    expect_error(7, ask([] { return hb_swap_adapters(UNKNOWN, address("10.1.0.1")); }));
    EXPECT_TRUE(nothing_was_sent(daemon));
}

ISOLATED_TEST(SwapAdapters, KnowsTheAddressInItsMappedForm) {
    Cluster_Facts cluster = small_cluster();
    // The same four bytes at the end, but not a mapped IPv4 address.
    cluster.adapters[0].address = ipv6("::10.1.0.1");
    Fake_Daemon_Plan plan;
    plan.connections = {serve_configuration(snapshot(cluster))};
    Fake_Daemon daemon(plan);
    open_library();
    expect_error(7, ask([] { return hb_swap_adapters(OWN, address("10.1.0.1")); }));
    EXPECT_TRUE(nothing_was_sent(daemon));
}

// ---- In cluster-event mode, and without a connection ----

ISOLATED_TEST(ControlInClusterMode, SucceedsWithoutEffectWhereThereIsNoAnswer) {
    Fake_Daemon daemon;
    open_library();
    IsMOX = true;
    for (const Silent &each : silent_requests()) {
        SCOPED_TRACE(each.name);
        expect_success(ask(each.call));
    }
    IsMOX = false;
    EXPECT_TRUE(nothing_was_sent(daemon));
}

ISOLATED_TEST(ControlInClusterMode, StillChecksWhatItIsGiven) {
    Fake_Daemon daemon;
    open_library();
    IsMOX = true;
    expect_error(4, ask([] { return hb_node_is_down(-1); }));
    expect_error(9, ask([] { return hb_node_is_down(3); }));
    expect_error(7, ask([] { return hb_adapter_is_down(UNKNOWN); }));
    expect_error(4, ask([] { return hb_enable_adapter(OTHERS); }));
}

ISOLATED_TEST(ControlInClusterMode, IsError12WhereAnAnswerIsAwaited) {
    Fake_Daemon daemon;
    open_library();
    IsMOX = true;
    const Call_Log log;
    for (const Answered &each : answered_requests()) {
        SCOPED_TRACE(each.name);
        expect_error(12, ask(each.call));
    }
    EXPECT_TRUE(log.calls(Call::read_).empty());
    IsMOX = false;
    EXPECT_TRUE(nothing_was_sent(daemon));
}

ISOLATED_TEST(ControlWithoutAConnection, IsError22WithAnAnswerOrWithout) {
    Fake_Daemon daemon;
    open_library();
    hb_remove_socket();
    ASSERT_EQ(5U, answered_requests().size());
    for (const Silent &each : silent_requests()) {
        SCOPED_TRACE(each.name);
        expect_error(22, ask(each.call));
    }
    for (const Answered &each : answered_requests()) {
        SCOPED_TRACE(each.name);
        expect_error(22, ask(each.call));
    }
}

} // namespace
} // namespace hb_test
