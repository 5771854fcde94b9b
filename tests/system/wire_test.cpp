// SPDX-License-Identifier: Apache-2.0
// wispd's side of the socket and of the shared segments, byte by byte.
#include <regex>
#include <sys/sem.h>
#include <sys/shm.h>

#include <gtest/gtest.h>

#include "tests/support/records.h"
#include "tests/system/clusters.h"
#include "tests/system/daemon.h"
#include "tests/system/stream.h"

namespace hb_test {
namespace {

// Adapter number, network, address, type and state of one adapter as the configuration message has it.
Bytes entry(int number, int network, const Bytes &address, const std::string &type, int state) {
    return Bytes().add(address).i16(network).text(type, 36).zeros(2).i32(number).i32(state);
}

Bytes network(const std::string &name, const std::string &type) {
    return Bytes().text(name, 70).text(type, 16);
}

// Local node 1, 8 node slots, 2 adapters each.
Bytes snapshot_head(int adapters) {
    return Bytes().i16(1).zeros(2).i32(8).i32(2).i32(adapters).i32(2);
}

Bytes nodes_1_and_2() {
    return Bytes()
        .add(entry(2, 0, ipv4(10, 1, 0, 1), "eth0", 1))
        .add(entry(3, 1, ipv4(10, 2, 0, 1), "eth1", 1))
        .add(entry(4, 0, ipv4(10, 1, 0, 2), "eth0", 1))
        .add(entry(5, 1, ipv4(10, 2, 0, 2), "eth1", 1));
}

Bytes node_4_down() {
    return entry(8, 0, ipv4(10, 1, 0, 4), "eth0", 2);
}

Bytes both_networks() {
    return Bytes().add(network("net_a", "ether")).add(network("net_b", "token"));
}

constexpr int UNSTABLE = 1;

Reply_Header header(int kind, const std::string &subscription, int sequence, int status = 0) {
    Reply_Header made;
    made.kind = kind;
    made.group_status = status;
    made.subscription_name = subscription;
    made.sequence = sequence;
    return made;
}

class Wire : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(daemon.start()); }
    void TearDown() override { EXPECT_TRUE(daemon.stop()); }

    // Subscribes to every adapter, every node, or the different instances.
    static Bytes subscription(int type, int mask, const std::string &name) {
        const Bytes body = Bytes().i32(type).i32(0).i32(mask).text(name, 32).zeros(4).zeros(12300);
        return frame(request(209, 4711, body));
    }

    void expect_record(const Bytes &expected) const {
        EXPECT_TRUE(same_bytes(expected, client->read_record()));
    }

    // The identifier is new each time, so only its form is checked. All other bytes are known.
    void expect_death(Reply_Header expected, const Bytes &body) const {
        const Bytes record = client->read_record();
        ASSERT_GE(record.size(), 108u);
        const std::string id(reinterpret_cast<const char *>(record.data()) + 60, 42);
        EXPECT_TRUE(std::regex_match(id, std::regex("[0-9]{8}T[0-9]{6}Z-[0-9a-f]{8}-[0-9a-f]{16}"))) << id;
        expected.ffdc_id = id;
        EXPECT_TRUE(same_bytes(reply(expected, body), record));
    }

    void connect() {
        client.emplace(daemon.socket());
        client->send(frame(request(201, 4711)));
    }

    Daemon daemon{programs_of_this_build(), small_cluster_file()};
    std::optional<Stream> client;
};

TEST_F(Wire, TheConfigurationIsTheFirstAnswer) {
    connect();
    expect_record(reply(0, snapshot_head(7)
                               .add(nodes_1_and_2())
                               .add(entry(6, 0, ipv4(10, 1, 0, 3), "eth0", 1))
                               .add(entry(7, 1, ipv6("2001:db8::3"), "eth1", 1))
                               .add(node_4_down())
                               .add(both_networks())));
}

TEST_F(Wire, EveryEventHasItsBytes) {
    connect();
    client->read_record();
    client->send(subscription(3, 7, "adapters"));
    Reply_Header group = header(4, "adapters", 1);
    group.leader[0] = 2;
    group.group_id[0] = 2;
    group.group_id[1] = 1;
    expect_record(reply(
        group,
        Bytes().i32(5).i32(2).i32(1).i32(3).i32(1).i32(4).i32(1).i32(5).i32(1).i32(6).i32(1).i32(7).i32(1)));
    client->send(subscription(6, 256, "instances"));
    client->send(subscription(1, 7 + 512, "nodes"));
    expect_record(reply(header(7, "nodes", 2), Bytes().i32(0).i32(1).i32(1).i32(1).zeros(16)));

    // Node 3 is removed: bit 27 in the incarnations, then the update without it.
    EXPECT_TRUE(daemon.tells(R"({"do":"node-leave","node":3})"));
    expect_death(header(2, "adapters", 3, UNSTABLE),
                 Bytes().i32(1).i32(6).i32(0x08000001).i32(7).i32(0x08000001));
    expect_death(header(5, "nodes", 4, UNSTABLE), Bytes().zeros(12).i32(1).zeros(16));
    expect_record(reply(header(9, "Hb_Config_Group", 5),
                        snapshot_head(5).add(nodes_1_and_2()).add(node_4_down()).add(both_networks())));

    EXPECT_TRUE(daemon.tells(R"({"do":"node-up","node":4})"));
    expect_record(reply(header(3, "adapters", 6, UNSTABLE), Bytes().i32(0).i32(8).i32(1)));
    expect_record(reply(header(6, "nodes", 7, UNSTABLE), Bytes().zeros(16).i32(1).zeros(12)));

    EXPECT_TRUE(daemon.tells(R"({"do":"ffdc","id":"the fan of node 2"})"));
    Reply_Header failure = header(12, "Hb_FFDC_Group", 8);
    failure.ffdc_id = "the fan of node 2";
    expect_record(reply(failure, {}));
    EXPECT_TRUE(daemon.tells(R"({"do":"foreign-instance","address":"10.9.0.1","instance":7})"));
    expect_record(reply(header(13, "instances", 9), ipv4(10, 9, 0, 1).i32(7)));
    EXPECT_TRUE(daemon.tells(R"({"do":"heartbeat","threshold_seconds":2,"threshold_microseconds":3})"));
    expect_record(reply(header(15, "nodes", 10), Bytes().i32(2).i32(3).i32(1).i32(daemon.pid())));
}

TEST_F(Wire, TheSegmentsHaveTheirSizesAndContents) {
    const Ipc_Ids ids = daemon.ipc_ids();
    const std::array<std::size_t, 3> sizes{12, std::size_t{2049} * 184, 3168};
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        shmid_ds facts{};
        ASSERT_EQ(shmctl(ids[i], IPC_STAT, &facts), 0);
        EXPECT_EQ(facts.shm_segsz, sizes[i]);
    }
    const void *published = shmat(ids[0], nullptr, SHM_RDONLY);
    ASSERT_NE(published, reinterpret_cast<void *>(-1));
    EXPECT_TRUE(same_bytes(Bytes().i32(1).i32(2049).i32(7), bytes_of(published, 12)));
    EXPECT_TRUE(daemon.tells(R"({"do":"adapter-join","adapter":9,"address":"10.2.0.4"})"));
    EXPECT_TRUE(same_bytes(Bytes().i32(2).i32(2049).i32(8), bytes_of(published, 12)));
    EXPECT_EQ(shmdt(published), 0);
    semid_ds facts{};
    ASSERT_EQ(semctl(ids[3], 0, IPC_STAT, &facts), 0);
    EXPECT_EQ(facts.sem_nsems, 2u);
    EXPECT_EQ(semctl(ids[3], 0, GETVAL), 0);
    EXPECT_EQ(semctl(ids[3], 1, GETVAL), 0);
}

} // namespace
} // namespace hb_test
