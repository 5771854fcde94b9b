// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/deadline.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/isolated.h"
#include "tests/support/leftovers.h"
#include "tests/support/process_counters.h"

namespace hb_test {
namespace {

Unique_Fd connect_to(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    Unique_Fd fd(socket(AF_UNIX, SOCK_STREAM, 0));
    if (connect(fd.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        fd.reset();
    }
    return fd;
}

void put(const Unique_Fd &fd, const Bytes &bytes) {
    ASSERT_EQ(static_cast<ssize_t>(bytes.size()), send(fd.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL));
}

// Reads until this many bytes have arrived, or to the end or the deadline.
Bytes take(const Unique_Fd &fd, std::size_t count) {
    Bytes all;
    while (all.size() < count && wait_readable(fd.get())) {
        Bytes some;
        some.resize(count - all.size());
        const ssize_t got = read(fd.get(), some.data(), some.size());
        if (got <= 0) {
            break;
        }
        some.resize(static_cast<std::size_t>(got));
        all.add(some);
    }
    return all;
}

bool at_end(const Unique_Fd &fd) {
    char byte = 0;
    return wait_readable(fd.get()) && read(fd.get(), &byte, 1) == 0;
}

Fake_Daemon_Plan plan_of(const Script &script) {
    Fake_Daemon_Plan plan;
    plan.connections = {script};
    return plan;
}

ISOLATED_TEST(Fake_Daemon, AnswersARequestAndRecordsIt) {
    Fake_Daemon daemon(plan_of({read_record(), send_record({1, 2, 3})}));
    const Unique_Fd client = connect_to(daemon.path());
    put(client, {2, 0, 0, 0, 0xAB, 0xCD});
    EXPECT_EQ(Bytes({3, 0, 0, 0, 1, 2, 3}), take(client, 7));
    EXPECT_EQ(Bytes({2, 0, 0, 0, 0xAB, 0xCD}), daemon.received());
    ASSERT_EQ(1U, daemon.received_records().size());
    EXPECT_EQ(Bytes({0xAB, 0xCD}), daemon.received_records()[0]);
    EXPECT_TRUE(daemon.wait_steps_done());
    EXPECT_TRUE(daemon.troubles().empty());
}

ISOLATED_TEST(Fake_Daemon, RecordsWhatComesBetweenTheSteps) {
    Fake_Daemon daemon(plan_of({}));
    const Unique_Fd client = connect_to(daemon.path());
    put(client, {9, 8, 7});
    EXPECT_EQ(Bytes({9, 8, 7}), daemon.wait_received(3));
}

ISOLATED_TEST(Fake_Daemon, PutsRawBytesOnTheWireAsTheyAre) {
    Fake_Daemon daemon(plan_of({send_raw(Bytes().i32(-5))}));
    const Unique_Fd client = connect_to(daemon.path());
    EXPECT_EQ(Bytes({0xFB, 0xFF, 0xFF, 0xFF}), take(client, 4));
}

ISOLATED_TEST(Fake_Daemon, HoldsBackUntilTold) {
    Fake_Daemon daemon(plan_of({send_raw({1}), wait_told(), send_raw({2})}));
    const Unique_Fd client = connect_to(daemon.path());
    EXPECT_EQ(Bytes({1}), take(client, 1));
    EXPECT_FALSE(wait_readable(client.get(), Deadline(std::chrono::milliseconds(20))));
    daemon.tell();
    EXPECT_EQ(Bytes({2}), take(client, 1));
}

ISOLATED_TEST(Fake_Daemon, HoldsBackUntilAConditionHolds) {
    std::atomic<bool> now{false};
    Fake_Daemon daemon(plan_of({wait_for([&now] { return now.load(); }), send_raw({5})}));
    const Unique_Fd client = connect_to(daemon.path());
    EXPECT_FALSE(wait_readable(client.get(), Deadline(std::chrono::milliseconds(20))));
    now = true;
    EXPECT_EQ(Bytes({5}), take(client, 1));
}

ISOLATED_TEST(Fake_Daemon, TricklesOneByteAtATime) {
    Fake_Daemon daemon(plan_of({trickle_raw({1, 2, 3})}));
    const Unique_Fd client = connect_to(daemon.path());
    for (unsigned char wanted = 1; wanted <= 3; ++wanted) {
        std::array<char, 8> got{};
        ASSERT_TRUE(wait_readable(client.get()));
        ASSERT_EQ(1, read(client.get(), got.data(), got.size())) << "more than one byte was there at once";
        EXPECT_EQ(wanted, static_cast<unsigned char>(got[0]));
    }
    EXPECT_TRUE(daemon.wait_steps_done());
}

ISOLATED_TEST(Fake_Daemon, DiesAtAnyByte) {
    const Bytes whole = frame({1, 2, 3});
    for (std::size_t count = 0; count <= whole.size(); ++count) {
        Fake_Daemon daemon(plan_of({send_raw(whole.first(count)), hang_up()}));
        const Unique_Fd client = connect_to(daemon.path());
        EXPECT_EQ(whole.first(count), take(client, count));
        EXPECT_TRUE(at_end(client));
    }
}

ISOLATED_TEST(Fake_Daemon, StopsAndStartsReading) {
    Fake_Daemon daemon(plan_of({stop_reading(), send_raw({1})}));
    const Unique_Fd client = connect_to(daemon.path());
    ASSERT_EQ(Bytes({1}), take(client, 1));
    Bytes much;
    much.fill(65536, 'x');
    std::size_t sent = 0;
    for (ssize_t count = 0; count >= 0; sent += static_cast<std::size_t>(count)) {
        count = send(client.get(), much.data(), much.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0) {
            EXPECT_EQ(EAGAIN, errno) << "the buffers fill up when nobody reads";
            break;
        }
    }
    EXPECT_TRUE(daemon.received().empty());
    daemon.run(start_reading());
    EXPECT_EQ(sent, daemon.wait_received(sent).size());
}

ISOLATED_TEST(Fake_Daemon, TakesFurtherStepsWhileItServes) {
    Fake_Daemon daemon(plan_of({}));
    const Unique_Fd client = connect_to(daemon.path());
    ASSERT_TRUE(daemon.wait_connections(1));
    daemon.run(send_raw({1}));
    EXPECT_EQ(Bytes({1}), take(client, 1));
    daemon.run({send_raw({2}), hang_up()});
    EXPECT_EQ(Bytes({2}), take(client, 1));
    EXPECT_TRUE(at_end(client));
    EXPECT_TRUE(daemon.wait_connections_ended(1));
}

ISOLATED_TEST(Fake_Daemon, HasAScriptForEachConnectionAndTheLastForAllMore) {
    Fake_Daemon_Plan plan;
    plan.connections = {{send_raw({1})}, {send_raw({2})}};
    Fake_Daemon daemon(plan);
    for (const unsigned wanted : {1U, 2U, 2U}) {
        const Unique_Fd client = connect_to(daemon.path());
        EXPECT_EQ(Bytes().u8(wanted), take(client, 1));
    }
    EXPECT_EQ(3, daemon.connections());
    EXPECT_TRUE(daemon.wait_connections_ended(3));
}

ISOLATED_TEST(Fake_Daemon, NamesAStepThatTheClientLeftUndone) {
    Fake_Daemon daemon(plan_of({read_record()}));
    { const Unique_Fd client = connect_to(daemon.path()); }
    EXPECT_TRUE(daemon.wait_connections_ended(1));
    ASSERT_EQ(1U, daemon.troubles().size());
    EXPECT_EQ("could not finish read_record", daemon.troubles()[0]);
}

ISOLATED_TEST(Fake_Daemon, NobodyConnectsOnceItStoppedListening) {
    Fake_Daemon daemon(plan_of({send_raw({1})}));
    const Unique_Fd client = connect_to(daemon.path());
    EXPECT_EQ(Bytes({1}), take(client, 1));
    daemon.stop_listening();
    EXPECT_FALSE(static_cast<bool>(connect_to(daemon.path())));
    daemon.run(send_raw({2}));
    EXPECT_EQ(Bytes({2}), take(client, 1)) << "who is connected stays";
}

ISOLATED_TEST(Fake_Daemon, PointsTheEnvironmentAtItselfAndPutsItBack) {
    setenv("HA_DOMAIN_NAME", "left", 1);
    unsetenv("HB_SERVER_SOCKET");
    {
        const Fake_Daemon daemon;
        EXPECT_EQ(daemon.path(), std::getenv("HB_SERVER_SOCKET"));
        EXPECT_EQ(nullptr, std::getenv("HA_DOMAIN_NAME"));
    }
    EXPECT_STREQ("left", std::getenv("HA_DOMAIN_NAME"));
    EXPECT_EQ(nullptr, std::getenv("HB_SERVER_SOCKET"));
    unsetenv("HA_DOMAIN_NAME");
}

ISOLATED_TEST(Fake_Daemon, PublishesTheSegmentsAndSemaphoresUnderTheirKeys) {
    Fake_Daemon_Plan plan;
    plan.segments = segments_for(5, 9);
    const Fake_Daemon daemon(plan);
    const int first = shmget(ftok(daemon.path().c_str(), 'g'), 12, 0);
    ASSERT_GE(first, 0);
    EXPECT_GE(shmget(ftok(daemon.path().c_str(), 'h'), 5U * 184U, 0), 0);
    EXPECT_GE(shmget(ftok(daemon.path().c_str(), 'p'), 3168, 0), 0);
    const int semaphores = semget(ftok(daemon.path().c_str(), 'i'), 2, 0);
    ASSERT_GE(semaphores, 0);
    EXPECT_EQ(0, semctl(semaphores, 0, GETVAL));
    EXPECT_EQ(0, semctl(semaphores, 1, GETVAL));

    const void *memory = shmat(first, nullptr, SHM_RDONLY);
    ASSERT_NE(-1, reinterpret_cast<intptr_t>(memory));
    EXPECT_EQ(Bytes({1, 0, 0, 0, 5, 0, 0, 0, 9, 0, 0, 0}), bytes_of(memory, 12));
    shmdt(memory);
}

ISOLATED_TEST(Fake_Daemon, LeavesOutOrMissizesWhatThePlanSays) {
    Fake_Daemon_Plan plan;
    plan.segments = segments_for(5);
    plan.segments.routes.size = 4 * 184;
    plan.segments.security.present = false;
    plan.segments.semaphores = false;
    plan.segments.configuration.mode = 0400;
    Fake_Daemon daemon(plan);
    EXPECT_EQ(-1, shmget(ftok(daemon.path().c_str(), 'h'), 5U * 184U, 0));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(-1, shmget(ftok(daemon.path().c_str(), 'p'), 3168, 0));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ(-1, semget(ftok(daemon.path().c_str(), 'i'), 2, 0));
    EXPECT_EQ(ENOENT, errno);
    shmid_ds settings{};
    ASSERT_EQ(0, shmctl(daemon.segments().configuration_id(), IPC_STAT, &settings));
    EXPECT_EQ(0400, settings.shm_perm.mode & 0777);
}

ISOLATED_TEST(Fake_Daemon, LeavesNothingBehind) {
    const int descriptors = open_descriptors();
    const int threads = running_threads();
    std::string path;
    int semaphores = -1;
    {
        Fake_Daemon daemon;
        path = daemon.path();
        semaphores = daemon.segments().semaphores_id();
        EXPECT_TRUE(semaphores_exist(semaphores));
        EXPECT_EQ(5U, leftovers(getpid()).size()) << "a directory, three segments and a semaphore set";
    }
    EXPECT_TRUE(leftovers(getpid()).empty());
    EXPECT_FALSE(semaphores_exist(semaphores));
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(descriptors, open_descriptors());
    EXPECT_TRUE(wait_until([threads] { return running_threads() == threads; }));
    EXPECT_EQ(0, segment_mappings());
}

ISOLATED_TEST(Fake_Daemon, EndsAlsoWhileAConnectionIsJustBeingMade) {
    for (int i = 0; i < 200; ++i) {
        const Fake_Daemon daemon(plan_of({}));
        const Unique_Fd client = connect_to(daemon.path());
        EXPECT_TRUE(static_cast<bool>(client));
    }
}

ISOLATED_TEST(Fake_Daemon, EndsAlsoInTheMiddleOfAScript) {
    Fake_Daemon daemon(plan_of({wait_told(), send_raw({1})}));
    const Unique_Fd client = connect_to(daemon.path());
    EXPECT_TRUE(daemon.wait_connections(1));
}

} // namespace
} // namespace hb_test
