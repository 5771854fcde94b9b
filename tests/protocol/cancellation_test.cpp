// SPDX-License-Identifier: Apache-2.0
// A thread that is cancelled while it waits in the library ends and leaves nothing behind.
#include <array>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "lib/api/session.h"
#include "lib/base/error_number.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_communication/reply.h"
#include "lib/hb_communication/request.h"
#include "lib/vexo/socket_path.h"
#include "tests/protocol/calling_thread.h"
#include "tests/protocol/client.h"
#include "tests/protocol/full_listener.h"
#include "tests/support/deadline.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/faults.h"
#include "tests/support/isolated.h"
#include "tests/support/process_counters.h"
#include "tests/support/signal_pelter.h"

namespace hb_test {
namespace {

Fake_Daemon_Plan plan_of(const Script &script) {
    Fake_Daemon_Plan plan;
    plan.connections = {script};
    plan.segments = no_segments();
    return plan;
}

void expect_cancelled_in(const std::function<void()> &call) {
    std::atomic<bool> returned{false};
    Calling_Thread thread([&] {
        call();
        returned = true;
    });
    EXPECT_TRUE(thread.wait_asleep());
    thread.cancel();
    EXPECT_TRUE(thread.join_cancelled());
    EXPECT_FALSE(returned);
}

// The first ten rounds may allocate once what a cancellation needs; twenty more must allocate nothing. The
// smallest loss of a round, a connection object, would show as some thousand bytes. All rounds use one daemon,
// because the C library keeps every value that an environment variable ever had.
void expect_nothing_stays(const std::function<void()> &round) {
    for (int i = 0; i < 10; ++i) {
        round();
    }
    const int descriptors = open_descriptors();
    const std::size_t bytes = allocated_bytes();
    for (int i = 0; i < 20; ++i) {
        round();
    }
    EXPECT_EQ(descriptors, open_descriptors());
    EXPECT_LT(allocated_bytes(), bytes + 1024);
}

// Each round uses a new connection, on which the daemon has run the script.
void expect_nothing_stays_of_a_connection(const Script &script,
                                          const std::function<void(Fake_Daemon &)> &round) {
    Fake_Daemon daemon(plan_of(script));
    int connections = 0;
    expect_nothing_stays([&] {
        ASSERT_EQ(Hb_Success, hb_init_communication());
        ASSERT_TRUE(daemon.wait_connections(++connections));
        round(daemon);
        EXPECT_EQ(Hb_Success, hb_remove_socket());
        ASSERT_TRUE(daemon.wait_connections_ended(connections));
        daemon.forget_received();
    });
}

// ---- Connecting ----

ISOLATED_TEST(Cancellation, WhileConnecting) {
    const Full_Listener full;
    expect_nothing_stays([] {
        expect_cancelled_in([] { hb_init_communication(); });
        EXPECT_EQ(nullptr, client_socket);
        EXPECT_EQ(nullptr, client_select);
    });
}

ISOLATED_TEST(Cancellation, WhileOpeningTheLibraryWhichCanBeOpenedAfterwards) {
    {
        const Full_Listener full;
        expect_nothing_stays([] {
            expect_cancelled_in([] { hb_init(); });
            EXPECT_EQ(0, client_initialized);
        });
    }
    Fake_Daemon daemon;
    open_library();
    EXPECT_EQ(1, client_initialized);
}

ISOLATED_TEST(Cancellation, WhileTheConfigurationIsAwaited) {
    Fake_Daemon_Plan plan;
    plan.connections = {{read_record()}};
    Fake_Daemon daemon(plan);
    int connections = 0;
    expect_nothing_stays([&] {
        Calling_Thread thread([] {
            hb_init();
            ADD_FAILURE() << "it returned";
        });
        EXPECT_EQ(80U, daemon.wait_received(80).size()) << "the request";
        EXPECT_TRUE(thread.wait_asleep());
        thread.cancel();
        EXPECT_TRUE(thread.join_cancelled());
        EXPECT_EQ(0, client_initialized);
        EXPECT_EQ(Hb_Success, hb_remove_socket());
        ASSERT_TRUE(daemon.wait_connections_ended(++connections));
        daemon.forget_received();
    });
}

ISOLATED_TEST(ConnectingToABusyDaemon, EndsWithASignal) {
    const Full_Listener full;
    const int before = open_descriptors();
    const Call_Log log;
    {
        const Signal_Pelter pelter;
        EXPECT_EQ(Hb_Failure, hb_init());
    }
    EXPECT_EQ(15, hb_get_errno());
    EXPECT_EQ(1U, log.calls(Call::connect_).size()) << "the caller decides whether to try again";
    EXPECT_EQ(nullptr, client_socket);
    EXPECT_EQ(before, open_descriptors());
}

ISOLATED_TEST(ConnectingToABusyDaemon, SucceedsWhenThereIsRoomAgain) {
    Full_Listener full;
    ASSERT_TRUE(hb_resolve_socket_path());
    Calling_Thread caller([] {
        Hb_Csock connection;
        EXPECT_EQ(0, connection.Error());
        char payload[] = {'x'};
        EXPECT_EQ(Hb_Success, connection.send(payload, 1));
    });
    EXPECT_TRUE(caller.wait_asleep());
    full.make_room();
    const Unique_Fd peer = full.accept_next();
    ASSERT_TRUE(peer);
    std::array<char, 5> got{};
    EXPECT_EQ(5, recv(peer.get(), got.data(), got.size(), MSG_WAITALL));
    EXPECT_EQ(Bytes({1, 0, 0, 0, 'x'}), bytes_of(got));
    EXPECT_FALSE(caller.join_cancelled());
}

// ---- Several threads at once ----

// A daemon that answers the first connection on the test's command, and every later one at once.
Fake_Daemon_Plan holding_the_first() {
    Fake_Daemon_Plan plan;
    Script held = {read_record(), wait_told()};
    held.push_back(send_record(reply(0, snapshot(small_cluster()))));
    plan.connections = {held, serve_configuration(snapshot(small_cluster()))};
    return plan;
}

ISOLATED_TEST(Cancellation, WhileAnotherThreadOpensWhichGoesOn) {
    Fake_Daemon daemon(holding_the_first());
    Calling_Thread opener([] { EXPECT_EQ(Hb_Success, hb_init()); });
    EXPECT_EQ(80U, daemon.wait_received(80).size());
    EXPECT_TRUE(opener.wait_asleep());
    expect_cancelled_in([] { hb_init(); });
    EXPECT_EQ(1, daemon.connections()) << "one thread opens at a time";
    daemon.tell();
    EXPECT_FALSE(opener.join_cancelled());
    EXPECT_EQ(1, client_initialized);
}

ISOLATED_TEST(Cancellation, WhileOpeningLetsTheThreadThatWaitsOpen) {
    Fake_Daemon daemon(holding_the_first());
    Calling_Thread opener([] { hb_init(); });
    EXPECT_EQ(80U, daemon.wait_received(80).size());
    EXPECT_TRUE(opener.wait_asleep());
    Calling_Thread waiting([] { EXPECT_EQ(Hb_Success, hb_init()); });
    EXPECT_TRUE(waiting.wait_asleep());
    EXPECT_EQ(1, daemon.connections()) << "one thread opens at a time";
    opener.cancel();
    EXPECT_TRUE(opener.join_cancelled());
    daemon.tell();
    // The new attempt closes the connection of the cancelled one.
    EXPECT_TRUE(daemon.wait_connections_ended(1));
    EXPECT_FALSE(waiting.join_cancelled());
    EXPECT_EQ(2, daemon.connections());
    EXPECT_EQ(1, client_initialized);
}

// ---- Receiving ----

ISOLATED_TEST(Cancellation, InTheWaitForAReplyWithATimeOut) {
    expect_nothing_stays_of_a_connection({}, [](Fake_Daemon &) {
        expect_cancelled_in([] {
            client_packet *packet = nullptr;
            timeval timeout{1000, 0};
            hb_get_reply_from_server(HB_ROUTE, packet, &timeout);
        });
    });
}

ISOLATED_TEST(Cancellation, InTheWaitForAReplyWithoutATimeOut) {
    expect_nothing_stays_of_a_connection({}, [](Fake_Daemon &) {
        expect_cancelled_in([] {
            client_packet *packet = nullptr;
            hb_get_reply_from_server(HB_ROUTE, packet, nullptr);
        });
    });
}

ISOLATED_TEST(Cancellation, InTheWaitForAnEventWhichIsTakenAfterwards) {
    Fake_Daemon daemon;
    open_library();
    for (const bool with_timeout : {true, false}) {
        expect_cancelled_in([with_timeout] {
            Event_Call call;
            with_timeout ? call.take({1000, 0}) : call.take();
        });
        daemon.run(send_record(reply(2, adapter_body({{4, 1}}))));
        Event_Call call;
        EXPECT_EQ(Hb_Success, call.take({60, 0})) << "no byte of the stream was lost";
        EXPECT_EQ(1, call.events);
    }
}

ISOLATED_TEST(Cancellation, InTheMiddleOfARecord) {
    for (const std::size_t sent : {std::size_t{2}, std::size_t{4}, std::size_t{5000}}) {
        SCOPED_TRACE(sent);
        const Script script = {send_raw(frame(Bytes().zeros(100000)).first(sent)), wait_taken()};
        expect_nothing_stays_of_a_connection(script, [](Fake_Daemon &daemon) {
            std::atomic<bool> returned{false};
            Calling_Thread thread([&returned] {
                char *buffer = nullptr;
                int length = 0;
                client_socket->receive(&buffer, length);
                returned = true;
            });
            EXPECT_TRUE(daemon.wait_steps_done()) << "what was sent has been taken";
            EXPECT_TRUE(thread.wait_asleep());
            thread.cancel();
            EXPECT_TRUE(thread.join_cancelled());
            EXPECT_FALSE(returned);
        });
    }
}

ISOLATED_TEST(Cancellation, InTheRoundsOfANonBlockingRead) {
    expect_nothing_stays_of_a_connection({}, [](Fake_Daemon &) {
        ASSERT_EQ(0, fcntl(client_socket->socket(), F_SETFL, O_NONBLOCK));
        expect_cancelled_in([] {
            char byte = 0;
            client_socket->recvn(&byte, 1);
        });
    });
}

// ---- Sending ----

ISOLATED_TEST(Cancellation, InABlockedSend) {
    expect_nothing_stays_of_a_connection({stop_reading()}, [](Fake_Daemon &daemon) {
        EXPECT_TRUE(daemon.wait_steps_done());
        expect_cancelled_in([] { hb_send(HB_SUBSCRIBE, nullptr, 4000000); });
        daemon.run(start_reading());
    });
}

ISOLATED_TEST(Cancellation, InTheWaitForRoomOfANonBlockingSend) {
    expect_nothing_stays_of_a_connection({stop_reading()}, [](Fake_Daemon &daemon) {
        EXPECT_TRUE(daemon.wait_steps_done());
        ASSERT_EQ(0, fcntl(client_socket->socket(), F_SETFL, O_NONBLOCK));
        std::array<char, 4096> filling{};
        while (send(client_socket->socket(), filling.data(), filling.size(), MSG_NOSIGNAL) > 0) {
        }
        ASSERT_EQ(EAGAIN, errno);
        expect_cancelled_in([] { hb_send(HB_CLIENT_HEARTBEAT, nullptr, 0); });
        daemon.run(start_reading());
    });
}

// ---- Closing ----

// Runs the call in a thread with a pending cancellation, and returns the call's result.
Hb_Rc under_a_pending_cancellation(const std::function<Hb_Rc()> &call) {
    std::atomic<bool> go{false};
    Hb_Rc result = 0;
    Calling_Thread thread([&] {
        while (!go) {
            // No call here acts on the cancellation.
        }
        result = call();
        pthread_testcancel();
        ADD_FAILURE() << "the cancellation got lost";
    });
    thread.cancel();
    go = true;
    EXPECT_TRUE(thread.join_cancelled());
    return result;
}

ISOLATED_TEST(Cancellation, DoesNotDisturbClosingTheConnection) {
    Fake_Daemon daemon;
    const int before = open_descriptors();
    open_library();
    EXPECT_EQ(Hb_Success, under_a_pending_cancellation(hb_terminate));
    EXPECT_EQ(nullptr, client_socket);
    EXPECT_EQ(0, client_initialized);
    EXPECT_TRUE(daemon.wait_connections_ended(1));
    EXPECT_TRUE(wait_until([before] { return open_descriptors() == before; })) << open_descriptors();
}

ISOLATED_TEST(Cancellation, DoesNotDisturbRemovingTheSocket) {
    Fake_Daemon daemon(plan_of({}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    EXPECT_EQ(Hb_Success, under_a_pending_cancellation(hb_remove_socket));
    EXPECT_EQ(nullptr, client_socket);
    EXPECT_TRUE(daemon.wait_connections_ended(1));
}

} // namespace
} // namespace hb_test
