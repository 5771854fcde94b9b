// SPDX-License-Identifier: Apache-2.0
// A library that is opened again and again, with and without success, uses no more than one that was opened
// once.
#include <gtest/gtest.h>

#include "tests/protocol/client.h"
#include "tests/support/deadline.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/hb_communication.h"
#include "tests/support/isolated.h"
#include "tests/support/process_counters.h"

namespace hb_test {
namespace {

struct Holdings {
    int descriptors;
    int mappings;
    std::size_t bytes;
};

Holdings holdings(Fake_Daemon &daemon) {
    daemon.forget_received();
    return {open_descriptors(), segment_mappings(), allocated_bytes()};
}

// Runs the cycle a thousand times and compares with the memory held after the first twenty. Less than eight
// bytes a cycle is noise of the allocator, whose smallest block is larger.
void expect_no_growth(Fake_Daemon &daemon, const std::function<void()> &cycle) {
    for (int i = 0; i < 20; ++i) {
        cycle();
    }
    const Holdings before = holdings(daemon);
    for (int i = 0; i < 1000; ++i) {
        cycle();
        if (testing::Test::HasFailure()) {
            return;
        }
    }
    EXPECT_TRUE(wait_until([&] { return open_descriptors() == before.descriptors; }))
        << open_descriptors() << " descriptors instead of " << before.descriptors;
    const Holdings after = holdings(daemon);
    EXPECT_EQ(before.mappings, after.mappings);
    EXPECT_LT(after.bytes, before.bytes + 8000);
}

// A failed opening keeps its connection until the next one, so all connections but the last have ended.
void expect_one_connection_left(Fake_Daemon &daemon, int cycles) {
    ASSERT_TRUE(daemon.wait_connections(cycles));
    ASSERT_TRUE(daemon.wait_connections_ended(cycles - 1));
}

ISOLATED_TEST(Growth, AThousandTimesOpenedAndTerminated) {
    Fake_Daemon daemon;
    int cycles = 0;
    expect_no_growth(daemon, [&daemon, &cycles] {
        open_library();
        ASSERT_EQ(Hb_Success, hb_terminate());
        ASSERT_TRUE(daemon.wait_connections_ended(++cycles));
    });
    EXPECT_EQ(3, segment_mappings() - 3) << "the daemon's own three and the library's";
}

ISOLATED_TEST(Growth, AThousandTimesOpenedWithoutADaemon) {
    Fake_Daemon daemon;
    daemon.stop_listening();
    expect_no_growth(daemon, [] {
        ASSERT_EQ(Hb_Failure, hb_init());
        ASSERT_EQ(15, hb_get_errno());
    });
}

ISOLATED_TEST(Growth, AThousandTimesOpenedWithoutSegments) {
    Fake_Daemon_Plan plan;
    plan.segments = no_segments();
    plan.connections = {{}};
    Fake_Daemon daemon(plan);
    int cycles = 0;
    expect_no_growth(daemon, [&daemon, &cycles] {
        ASSERT_EQ(Hb_Failure, hb_init());
        ASSERT_EQ(33, hb_get_errno());
        expect_one_connection_left(daemon, ++cycles);
    });
}

ISOLATED_TEST(Growth, AThousandTimesOpenedWithoutSemaphores) {
    Fake_Daemon_Plan plan;
    plan.segments.semaphores = false;
    plan.connections = {{}};
    Fake_Daemon daemon(plan);
    int cycles = 0;
    expect_no_growth(daemon, [&daemon, &cycles] {
        ASSERT_EQ(Hb_Failure, hb_init());
        ASSERT_EQ(45, hb_get_errno());
        expect_one_connection_left(daemon, ++cycles);
    });
}

ISOLATED_TEST(Growth, AThousandTimesOpenedWithAWrongReply) {
    Fake_Daemon_Plan plan;
    plan.connections = {{read_record(), send_record(reply(12))}};
    Fake_Daemon daemon(plan);
    int cycles = 0;
    expect_no_growth(daemon, [&daemon, &cycles] {
        ASSERT_EQ(Hb_Failure, hb_init());
        ASSERT_EQ(10, hb_get_errno());
        expect_one_connection_left(daemon, ++cycles);
    });
}

ISOLATED_TEST(Growth, AThousandConfigurationUpdates) {
    Fake_Daemon daemon;
    open_library();
    const Bytes update = reply(9, snapshot(small_cluster()));
    Event_Call call;
    expect_no_growth(daemon, [&] {
        daemon.run(send_record(update));
        ASSERT_EQ(Hb_Success, call.take());
        ASSERT_EQ(128, call.events);
        ASSERT_TRUE(daemon.wait_steps_done());
    });
}

ISOLATED_TEST(Growth, AThousandRefusedEvents) {
    Fake_Daemon daemon;
    open_library();
    Event_Call call;
    expect_no_growth(daemon, [&] {
        daemon.run({send_record(reply(9, Bytes().zeros(19))), send_record(reply(8)), send_record(reply(2))});
        for (int i = 0; i < 3; ++i) {
            ASSERT_EQ(Hb_Failure, call.take());
            ASSERT_EQ(10, hb_get_errno());
        }
        ASSERT_TRUE(daemon.wait_steps_done());
    });
}

ISOLATED_TEST(Growth, AThousandDescriptorArrays) {
    Fake_Daemon daemon;
    open_library();
    expect_no_growth(daemon, [] {
        int *descriptors = nullptr;
        int count = 0;
        ASSERT_EQ(Hb_Success, hb_get_file_descriptor_array(&descriptors, &count));
        ASSERT_EQ(Hb_Success, hb_free_file_descriptor_array(descriptors));
    });
}

} // namespace
} // namespace hb_test
