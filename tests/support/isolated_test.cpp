// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <unistd.h>

#include "tests/support/deadline.h"
#include "tests/support/isolated.h"
#include "tests/support/leftovers.h"
#include "tests/support/process_counters.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unique_fd.h"

namespace hb_test {
namespace {

TEST(Isolated, ABodyWithoutFailuresEndsWell) {
    const Isolated_Result result = run_in_child([] { EXPECT_EQ(1, 1); });
    EXPECT_FALSE(result.timed_out);
    EXPECT_EQ(0, result.signal);
    EXPECT_EQ(0, result.exit_status);
    EXPECT_TRUE(result.failures.empty());
    EXPECT_TRUE(result.left_behind.empty());
}

TEST(Isolated, FailuresComeBackWithFileLineAndMessage) {
    const Isolated_Result result = run_in_child([] {
        EXPECT_EQ(1, 2) << "first remark";
        ASSERT_TRUE(false) << "second remark";
        ADD_FAILURE() << "never reached";
    });
    ASSERT_EQ(2U, result.failures.size());
    EXPECT_NE(std::string::npos, result.failures[0].file.find("isolated_test.cpp"));
    EXPECT_GT(result.failures[0].line, 0);
    EXPECT_NE(std::string::npos, result.failures[0].message.find("first remark"));
    EXPECT_NE(std::string::npos, result.failures[1].message.find("second remark"));
}

TEST(Isolated, FailuresInTheChildDoNotFailTheParentByThemselves) {
    run_in_child([] { ADD_FAILURE(); });
    EXPECT_FALSE(HasFailure());
}

TEST(Isolated, GlobalsChangedInTheChildAreFreshInTheParent) {
    static int counter = 0;
    run_in_child([] { counter = 5; });
    EXPECT_EQ(0, counter);
}

TEST(Isolated, AnExceptionIsAFailure) {
    const Isolated_Result result = run_in_child([] { throw std::runtime_error("out of the body"); });
    ASSERT_EQ(1U, result.failures.size());
    EXPECT_NE(std::string::npos, result.failures[0].message.find("out of the body"));
}

TEST(Isolated, ASignalThatEndsTheChildIsReported) {
    const Isolated_Result result = run_in_child([] { raise(SIGKILL); });
    EXPECT_EQ(SIGKILL, result.signal);
    EXPECT_FALSE(result.timed_out);
}

TEST(Isolated, AChildThatHangsIsKilledAtTheDeadline) {
    const Isolated_Result result = run_in_child(
        [] {
            for (;;) {
                pause();
            }
        },
        std::chrono::milliseconds(200));
    EXPECT_TRUE(result.timed_out);
    EXPECT_EQ(SIGKILL, result.signal);
}

TEST(Isolated, AStatusOtherThanZeroIsReported) {
    EXPECT_EQ(3, run_in_child([] { _exit(3); }).exit_status);
}

TEST(Isolated, FailuresBeforeACrashAreKept) {
    const Isolated_Result result = run_in_child([] {
        EXPECT_TRUE(false) << "before";
        raise(SIGKILL);
    });
    ASSERT_EQ(1U, result.failures.size());
    EXPECT_NE(std::string::npos, result.failures[0].message.find("before"));
}

TEST(Isolated, ASegmentLeftBehindIsNamedAndRemoved) {
    const Isolated_Result result =
        run_in_child([] { EXPECT_GE(shmget(IPC_PRIVATE, 100, IPC_CREAT | 0600), 0); });
    ASSERT_EQ(1U, result.left_behind.size());
    EXPECT_NE(std::string::npos, result.left_behind[0].find("shared segment"));
    for (const Segment_Facts &segment : list_segments()) {
        EXPECT_NE("shared segment " + std::to_string(segment.id) + ", never noted", result.left_behind[0]);
    }
}

TEST(Isolated, ASemaphoreSetLeftBehindIsNamedAndRemoved) {
    const Isolated_Result result = run_in_child([] {
        const int id = semget(IPC_PRIVATE, 1, IPC_CREAT | 0600);
        note_made(Made::semaphores, id);
    });
    ASSERT_EQ(1U, result.left_behind.size());
    const std::string &text = result.left_behind[0];
    ASSERT_EQ(0U, text.find("semaphore set "));
    EXPECT_FALSE(semaphores_exist(std::stoi(text.substr(std::string("semaphore set ").size()))));
}

TEST(Isolated, ADirectoryOfAKilledTestIsRemoved) {
    const Isolated_Result result = run_in_child([] {
        const Temp_Dir directory;
        std::ofstream(directory.file("something")) << "text";
        raise(SIGKILL);
    });
    ASSERT_EQ(1U, result.left_behind.size());
    const std::string &text = result.left_behind[0];
    ASSERT_EQ(0U, text.find("directory /"));
    EXPECT_FALSE(std::filesystem::exists(text.substr(std::string("directory ").size())));
}

TEST(Isolated, OtherPeoplesSegmentsAreNotLookedAt) {
    const int mine = shmget(IPC_PRIVATE, 100, IPC_CREAT | 0600);
    ASSERT_GE(mine, 0);
    const Isolated_Result result = run_in_child([] {});
    EXPECT_TRUE(result.left_behind.empty());
    EXPECT_EQ(0, shmctl(mine, IPC_RMID, nullptr)) << "it is still there to be removed";
}

TEST(Leftovers, ASegmentFromBeforeIsNobodysLeftover) {
    const int id = shmget(IPC_PRIVATE, 100, IPC_CREAT | 0600);
    ASSERT_GE(id, 0);
    open_leftovers_book();
    EXPECT_TRUE(leftovers(getpid()).empty()) << "an earlier process may have had this number";
    remove_leftovers(getpid());
    EXPECT_EQ(0, shmctl(id, IPC_RMID, nullptr)) << "it is still there to be removed";
}

TEST(Isolated, NoDescriptorStaysOpenInTheParent) {
    run_in_child([] {});
    const int before = open_descriptors();
    run_in_child([] {});
    EXPECT_EQ(before, open_descriptors());
}

const pid_t FIRST_PROCESS = getpid();

ISOLATED_TEST(Isolated, TheMacroRunsTheBodyInAChildProcess) {
    EXPECT_NE(FIRST_PROCESS, getpid());
    EXPECT_EQ(FIRST_PROCESS, getppid());
}

#if defined(HB_ADDRESS_SANITIZER)
TEST(Isolated, ALeakFailsTheChild) {
    const Isolated_Result result = run_in_child([] {
        char *volatile lost = nullptr;
        for (int i = 0; i < 100; ++i) { // a copy of the last pointer may remain somewhere
            lost = new char[77];
            lost[0] = 'x';
        }
        lost = nullptr;
    });
    EXPECT_EQ(97, result.exit_status);
}
#endif

} // namespace
} // namespace hb_test
