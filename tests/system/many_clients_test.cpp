// SPDX-License-Identifier: Apache-2.0
// A thousand clients connect and disconnect. Afterwards wispd uses no more than before.
#include <cstdlib>
#include <sys/resource.h>

#include <gtest/gtest.h>

#include "tests/support/records.h"
#include "tests/system/client.h"
#include "tests/system/clusters.h"
#include "tests/system/stream.h"

namespace hb_test {
namespace {

// HB_SUBSCRIBE: all nodes, deaths, joins and new groups.
Bytes subscribe_to_all_nodes(const std::string &name) {
    Bytes body;
    body.i32(1).i32(0).i32(7).text(name, 32).zeros(4).zeros(12300);
    return frame(request(209, 4711, body));
}

// The address sanitizer does not return freed memory for a while, which would look like a leak in wispd.
std::string sanitizer_options() {
    const char *before = std::getenv("ASAN_OPTIONS");
    return (before == nullptr ? std::string() : std::string(before) + ":") +
           "quarantine_size_mb=1:thread_local_quarantine_size_kb=64";
}

class ManyClients : public testing::Test {
  protected:
    void SetUp() override {
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        ASSERT_GE(limit.rlim_max, 1200u);
        limit.rlim_cur = limit.rlim_max;
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
        daemon.set_environment({{"ASAN_OPTIONS", sanitizer_options()}});
        ASSERT_TRUE(daemon.start());
        descriptors = daemon.open_descriptors();
    }
    void TearDown() override { EXPECT_TRUE(daemon.stop()); }

    // All are connected and subscribed. Each has its configuration and its first event.
    std::vector<Stream> connect(int count) const {
        std::vector<Stream> streams;
        for (int i = 0; i < count; ++i) {
            streams.emplace_back(daemon.socket());
            streams.back().send(frame(request(201, 4711)));
            streams.back().send(subscribe_to_all_nodes("c" + std::to_string(i)));
        }
        for (const Stream &stream : streams) {
            EXPECT_EQ(stream.read_record().i32_at(0), 0); // HB_CONFIGURATION_INFO
            expect_event(stream, 7, 1);                   // HB_NODE_NEW_GROUP
        }
        return streams;
    }

    static void expect_event(const Stream &stream, int kind, int sequence) {
        const Bytes record = stream.read_record();
        EXPECT_EQ(record.i32_at(0), kind);
        EXPECT_EQ(record.i32_at(104), sequence);
    }

    bool all_gone() const {
        return wait_until([&] { return daemon.open_descriptors() == descriptors; });
    }

    void thousand_come_and_go() const {
        for (int round = 0; round < 4; ++round) {
            connect(250);
            EXPECT_TRUE(all_gone());
        }
    }

    Daemon daemon{programs_of_this_build(), small_cluster_file()};
    int descriptors = 0;
};

TEST_F(ManyClients, AThousandThatComeAndGoLeaveNoDescriptorAndNoMemoryBehind) {
    thousand_come_and_go(); // until the allocator has all the memory that it needs
    const long before = daemon.resident_kilobytes();
    for (int time = 0; time < 4; ++time) {
        thousand_come_and_go();
    }
    EXPECT_LT(daemon.resident_kilobytes() - before, 1024); // a quarter of a kilobyte for each client
    EXPECT_EQ(daemon.open_descriptors(), descriptors);
}

TEST_F(ManyClients, AThousandAtOnceAreAllServed) {
    {
        const std::vector<Stream> streams = connect(1000);
        EXPECT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
        for (const Stream &stream : streams) {
            expect_event(stream, 5, 2); // HB_NODE_DEATH
        }
        EXPECT_TRUE(daemon.tells(R"({"do":"node-up","node":3})"));
        for (const Stream &stream : streams) {
            expect_event(stream, 6, 3); // HB_NODE_JOIN
        }
    }
    EXPECT_TRUE(all_gone());
}

TEST_F(ManyClients, ClientsThatBreakOffAnywhereLeaveNothingBehind) {
    const Bytes question = frame(request(201, 4711));
    for (std::size_t cut = 0; cut < question.size(); ++cut) {
        const Stream stream(daemon.socket());
        stream.send(question.first(cut));
    }
    const Bytes subscription = subscribe_to_all_nodes("cut");
    for (std::size_t cut = 0; cut < subscription.size(); cut += 499) {
        const Stream stream(daemon.socket());
        stream.send(subscription.first(cut));
    }
    EXPECT_TRUE(all_gone());
    const std::vector<Stream> streams = connect(1);
    EXPECT_EQ(streams.size(), 1u);
}

TEST_F(ManyClients, AnybodyWhoSendsNonsenseIsDisconnectedAlone) {
    const std::vector<Stream> sound = connect(1);
    const Stream negative(daemon.socket());
    negative.send(Bytes().i32(-1));
    EXPECT_TRUE(negative.wait_closed());
    const Stream huge(daemon.socket());
    huge.send(Bytes().i32(0x7FFFFFFF));
    EXPECT_TRUE(huge.wait_closed());
    EXPECT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    expect_event(sound.front(), 5, 2);
}

} // namespace
} // namespace hb_test
