// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sys/shm.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/deadline.h"
#include "tests/support/environment_guard.h"
#include "tests/support/isolated.h"
#include "tests/support/process_counters.h"
#include "tests/support/signal_pelter.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unique_fd.h"

namespace hb_test {
namespace {

TEST(EnvironmentGuard, SetsAndPutsBack) {
    setenv("HB_TEST_VARIABLE", "before", 1);
    {
        const Environment_Guard guard("HB_TEST_VARIABLE", "during");
        EXPECT_STREQ("during", std::getenv("HB_TEST_VARIABLE"));
    }
    EXPECT_STREQ("before", std::getenv("HB_TEST_VARIABLE"));
    {
        const Environment_Guard guard("HB_TEST_VARIABLE", std::nullopt);
        EXPECT_EQ(nullptr, std::getenv("HB_TEST_VARIABLE"));
    }
    EXPECT_STREQ("before", std::getenv("HB_TEST_VARIABLE"));
    unsetenv("HB_TEST_VARIABLE");
    { const Environment_Guard guard("HB_TEST_VARIABLE", "during"); }
    EXPECT_EQ(nullptr, std::getenv("HB_TEST_VARIABLE"));
}

TEST(TempDir, IsItsOwnAndGoesWithItsContents) {
    std::string path;
    {
        const Temp_Dir one;
        const Temp_Dir two;
        EXPECT_NE(one.path(), two.path());
        path = one.path();
        std::filesystem::create_directory(one.file("deeper"));
        std::ofstream(one.file("deeper/file")) << "text";
        EXPECT_TRUE(std::filesystem::is_directory(path));
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(UniqueFd, ClosesOnceAndMoves) {
    std::array<int, 2> ends{};
    ASSERT_EQ(0, pipe(ends.data()));
    const int before = open_descriptors();
    {
        Unique_Fd reading(ends[0]);
        Unique_Fd moved(std::move(reading));
        EXPECT_EQ(ends[0], moved.get());
        const Unique_Fd writing(ends[1]);
    }
    EXPECT_EQ(before - 2, open_descriptors());
}

TEST(Deadline, AConditionThatHoldsIsSeenAtOnceAndOneThatDoesNotAtTheDeadline) {
    EXPECT_TRUE(wait_until([] { return true; }, Deadline(std::chrono::milliseconds(0))));
    EXPECT_FALSE(wait_until([] { return false; }, Deadline(std::chrono::milliseconds(5))));
    int asked = 0;
    EXPECT_TRUE(wait_until([&asked] { return ++asked == 3; }));
}

TEST(Deadline, ReadableMeansDataOrTheEnd) {
    std::array<int, 2> ends{};
    ASSERT_EQ(0, pipe(ends.data()));
    const Unique_Fd reading(ends[0]);
    Unique_Fd writing(ends[1]);
    EXPECT_FALSE(wait_readable(reading.get(), Deadline(std::chrono::milliseconds(0))));
    writing.reset();
    EXPECT_TRUE(wait_readable(reading.get()));
}

TEST(ProcessCounters, CountWhatIsOpenedMappedStartedAndAllocated) {
    const int descriptors = open_descriptors();
    const int mappings = segment_mappings();
    const int threads = running_threads();
    const std::size_t bytes = allocated_bytes();

    const Unique_Fd copy(dup(0));
    EXPECT_EQ(descriptors + 1, open_descriptors());

    const int id = shmget(IPC_PRIVATE, 100, IPC_CREAT | 0600);
    ASSERT_GE(id, 0);
    void *memory = shmat(id, nullptr, SHM_RDONLY);
    shmctl(id, IPC_RMID, nullptr);
    EXPECT_EQ(mappings + 1, segment_mappings());
    shmdt(memory);
    EXPECT_EQ(mappings, segment_mappings());

    std::thread other([threads] { EXPECT_EQ(threads + 1, running_threads()); });
    other.join();

    const auto block = std::make_unique<std::array<char, 1000000>>();
    EXPECT_GE(allocated_bytes(), bytes + block->size() / 2);
    EXPECT_LE(allocated_bytes(), bytes + block->size() * 2);
}

TEST(SignalPelter, InterruptsABlockingCallOfTheThreadThatMadeIt) {
    std::array<int, 2> ends{};
    ASSERT_EQ(0, pipe(ends.data()));
    const Unique_Fd reading(ends[0]);
    const Unique_Fd writing(ends[1]);
    const Signal_Pelter pelter;
    char byte = 0;
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(-1, read(reading.get(), &byte, 1));
        EXPECT_EQ(EINTR, errno);
    }
    EXPECT_GE(Signal_Pelter::hits(), 5);
}

TEST(SignalPelter, StopsWithItsScope) {
    {
        const Signal_Pelter pelter;
        EXPECT_TRUE(wait_until([] { return Signal_Pelter::hits() > 0; }));
    }
    const int after = Signal_Pelter::hits();
    wait_until([] { return false; }, Deadline(std::chrono::milliseconds(20)));
    EXPECT_EQ(after, Signal_Pelter::hits());
}

} // namespace
} // namespace hb_test
