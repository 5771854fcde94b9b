// SPDX-License-Identifier: Apache-2.0
// A reader inside the route segment: its semaphore operations on entry and exit, and the number of routes.
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "lib/base/error_number.h"
#include "lib/hb_communication/route_section.h"
#include "lib/hb_communication/shared_segments.h"
#include "lib/vexo/socket_path.h"
#include "tests/support/deadline.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/faults.h"
#include "tests/support/isolated.h"
#include "tests/support/leftovers.h"
#include "tests/support/signal_pelter.h"

namespace hb_test {
namespace {

// Semaphore, change, flags, and the number of operations in the same call.
using Operations = std::vector<std::array<long, 4>>;
const Operations ENTER = {{0, 1, 0x1000, 2}, {1, 0, 0, 2}};
const Operations LEAVE = {{0, -1, 0x1000, 1}};

Operations operator+(Operations first, const Operations &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// Semaphore operations that this thread has made since it created the log.
Operations asked(const Call_Log &log) {
    Operations operations;
    for (const Call_Record &record : log.calls(Call::semop_)) {
        const long *it = record.arguments;
        operations.push_back({it[0], it[1], it[2], it[3]});
    }
    return operations;
}

// The daemon's two semaphores, and the library that uses them.
class Semaphores {
  public:
    Semaphores() : id_(semget(IPC_PRIVATE, 2, 0600)) {
        note_made(Made::semaphores, id_);
        shm_sem_id = id_;
    }
    Semaphores(const Semaphores &) = delete;
    Semaphores &operator=(const Semaphores &) = delete;
    ~Semaphores() { remove(); }

    void remove() {
        if (id_ >= 0) {
            semctl(id_, 0, IPC_RMID);
            note_gone(Made::semaphores, id_);
            id_ = -1;
        }
    }
    int id() const { return id_; }
    int readers() const { return semctl(id_, 0, GETVAL); }
    void set_writing(bool writing) const { semctl(id_, 1, SETVAL, writing ? 1 : 0); }
    int waiting_for_the_writer() const { return semctl(id_, 1, GETZCNT); }
    bool wait_for_a_waiting_reader() const {
        return wait_until([this] { return waiting_for_the_writer() == 1; });
    }

  private:
    int id_;
};

// A process that runs the body. The destructor kills it if it still runs.
class Reader {
  public:
    explicit Reader(const std::function<void()> &body) : pid_(fork()) {
        if (pid_ < 0) {
            throw std::system_error(errno, std::generic_category(), "fork");
        }
        if (pid_ == 0) {
            body();
            _exit(0);
        }
    }
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;
    ~Reader() {
        if (running_) {
            kill(pid_, SIGKILL);
            reap();
        }
    }
    void kill_it() {
        ASSERT_TRUE(running_);
        ASSERT_EQ(0, kill(pid_, SIGKILL));
        EXPECT_EQ(SIGKILL, WTERMSIG(reap()));
    }
    // Waits for its end.
    int reap() {
        int status = 0;
        EXPECT_EQ(pid_, waitpid(pid_, &status, 0));
        running_ = false;
        return status;
    }

  private:
    const pid_t pid_; // always a child's: kill(-1, ...) would hit every process
    bool running_ = true;
};

[[noreturn]] void stay() {
    for (;;) {
        pause();
    }
}

// ---- The semaphores ----

ISOLATED_TEST(RouteSection, EntersInOneCallOfTwoOperationsAndLeavesInOne) {
    const Semaphores semaphores;
    const Call_Log log;
    {
        const Hb_Route_Section section;
        EXPECT_EQ(ENTER, asked(log));
    }
    EXPECT_EQ(ENTER + LEAVE, asked(log));
}

ISOLATED_TEST(RouteSection, CountsTheReaderWhileItIsInside) {
    const Semaphores semaphores;
    {
        const Hb_Route_Section section;
        EXPECT_EQ(1, semaphores.readers());
        {
            const Hb_Route_Section another;
            EXPECT_EQ(2, semaphores.readers());
        }
        EXPECT_EQ(1, semaphores.readers());
    }
    EXPECT_EQ(0, semaphores.readers());
}

ISOLATED_TEST(RouteSection, UsesTheSetThatTheLibraryHasOpened) {
    Fake_Daemon daemon;
    ASSERT_TRUE(hb_resolve_socket_path());
    ASSERT_EQ(Hb_Success, hb_init_shared_memory());
    const Hb_Route_Section section;
    EXPECT_EQ(1, semctl(daemon.segments().semaphores_id(), 0, GETVAL));
    EXPECT_EQ(0, semctl(daemon.segments().semaphores_id(), 1, GETVAL));
}

ISOLATED_TEST(RouteSection, AnInterruptedEntryIsRepeatedAsItWas) {
    const Semaphores semaphores;
    const Call_Log log;
    const Fault_Guard fault = failing(Call::semop_, EINTR, 0, 3);
    const Hb_Route_Section section;
    EXPECT_EQ(ENTER + ENTER + ENTER + ENTER, asked(log));
    EXPECT_EQ(1, semaphores.readers());
}

ISOLATED_TEST(RouteSection, AnEntryThatFailsIsNeitherRepeatedNorLeft) {
    for (const int error : {EIDRM, EINVAL, EACCES, ENOSPC, ERANGE}) {
        const Semaphores semaphores;
        const Call_Log log;
        {
            const Fault_Guard fault = failing(Call::semop_, error);
            const Hb_Route_Section section;
        }
        EXPECT_EQ(ENTER, asked(log)) << strerror(error);
        EXPECT_EQ(0, semaphores.readers()) << "nobody was counted out who had not been counted in";
    }
}

ISOLATED_TEST(RouteSection, WithoutASetThereIsNothingToLeave) {
    EXPECT_EQ(-1, shm_sem_id);
    const Call_Log log;
    { const Hb_Route_Section section; }
    EXPECT_EQ(ENTER, asked(log));
}

ISOLATED_TEST(RouteSection, WaitsUncountedWhileTheDaemonWrites) {
    const Semaphores semaphores;
    semaphores.set_writing(true);
    std::atomic<bool> inside{false};
    std::atomic<bool> leave{false};
    std::thread reader([&] {
        const Hb_Route_Section section;
        inside = true;
        wait_until([&] { return leave.load(); });
    });
    EXPECT_TRUE(semaphores.wait_for_a_waiting_reader());
    EXPECT_FALSE(inside);
    EXPECT_EQ(0, semaphores.readers()) << "in and past the daemon at once, or not at all";
    semaphores.set_writing(false);
    EXPECT_TRUE(wait_until([&] { return inside.load(); }));
    EXPECT_EQ(1, semaphores.readers());
    leave = true;
    reader.join();
    EXPECT_EQ(0, semaphores.readers());
}

ISOLATED_TEST(RouteSection, SignalsDoNotLetTheReaderInWhileTheDaemonWrites) {
    const Semaphores semaphores;
    semaphores.set_writing(true);
    std::atomic<bool> inside{false};
    std::atomic<bool> watched{false};
    bool was_inside = true;
    int readers = -1;
    std::thread daemon([&] {
        watched = wait_until([] { return Signal_Pelter::hits() >= 20; });
        was_inside = inside;
        readers = semaphores.readers();
        semaphores.set_writing(false);
    });
    const Call_Log log;
    {
        const Signal_Pelter pelter;
        const Hb_Route_Section section;
        inside = true;
    }
    daemon.join();
    EXPECT_TRUE(watched);
    EXPECT_FALSE(was_inside);
    EXPECT_EQ(0, readers);
    EXPECT_GT(asked(log).size(), 3U) << "the entry was interrupted and repeated";
    EXPECT_EQ(0, semaphores.readers());
}

ISOLATED_TEST(RouteSection, AReaderKilledInsideIsCountedOut) {
    const Semaphores semaphores;
    const Hb_Route_Section own;
    Reader reader([] {
        const Hb_Route_Section section;
        stay();
    });
    ASSERT_TRUE(wait_until([&] { return semaphores.readers() == 2; }));
    reader.kill_it();
    EXPECT_EQ(1, semaphores.readers());
}

ISOLATED_TEST(RouteSection, AReaderThatExitsInsideIsCountedOut) {
    const Semaphores semaphores;
    const Hb_Route_Section own;
    Reader reader([] {
        const Hb_Route_Section section;
        _exit(7);
    });
    EXPECT_EQ(7, WEXITSTATUS(reader.reap()));
    EXPECT_EQ(1, semaphores.readers());
}

ISOLATED_TEST(RouteSection, AReaderThatHasLeftIsNotCountedOutOnceMoreByItsEnd) {
    const Semaphores semaphores;
    const Hb_Route_Section own;
    Reader reader([] {
        for (int i = 0; i < 3; ++i) {
            const Hb_Route_Section section;
        }
    });
    EXPECT_EQ(0, reader.reap());
    EXPECT_EQ(1, semaphores.readers());
}

ISOLATED_TEST(RouteSection, AReaderKilledWhileItWaitsLeavesNoTrace) {
    const Semaphores semaphores;
    semaphores.set_writing(true);
    Reader reader([] {
        const Hb_Route_Section section;
        stay();
    });
    ASSERT_TRUE(semaphores.wait_for_a_waiting_reader());
    reader.kill_it();
    EXPECT_EQ(0, semaphores.readers());
    EXPECT_EQ(0, semaphores.waiting_for_the_writer());
}

ISOLATED_TEST(RouteSection, ASetRemovedDuringTheWaitEndsTheWait) {
    Semaphores semaphores;
    semaphores.set_writing(true);
    Operations operations;
    std::thread reader([&operations] {
        const Call_Log log;
        { const Hb_Route_Section section; }
        operations = asked(log);
    });
    EXPECT_TRUE(semaphores.wait_for_a_waiting_reader());
    semaphores.remove();
    reader.join();
    EXPECT_EQ(ENTER, operations) << "no leaving";
}

// ---- A wait that no process ends ----

// Segment 1 as attached by the library, made by this process or by one that has ended since.
class Header_Segment {
  public:
    explicit Header_Segment(bool maker_ended) {
        if (maker_ended) {
            make_in_a_child();
        } else {
            id_ = make();
        }
        note_made(Made::segment, id_);
        shm_id[0] = id_;
    }
    Header_Segment(const Header_Segment &) = delete;
    Header_Segment &operator=(const Header_Segment &) = delete;
    ~Header_Segment() {
        shm_id[0] = -1;
        remove();
    }
    void remove() {
        if (id_ >= 0) {
            shmctl(id_, IPC_RMID, nullptr);
            note_gone(Made::segment, id_);
            id_ = -1;
        }
    }

  private:
    static int make() { return shmget(IPC_PRIVATE, 12, 0600); }
    void make_in_a_child() {
        int ends[2];
        ASSERT_EQ(0, pipe(ends));
        Reader maker([&ends] {
            const int made = make();
            _exit(write(ends[1], &made, sizeof made) == sizeof made ? 0 : 1);
        });
        EXPECT_EQ(0, maker.reap());
        EXPECT_EQ(static_cast<ssize_t>(sizeof id_), read(ends[0], &id_, sizeof id_));
        close(ends[0]);
        close(ends[1]);
    }

    int id_ = -1;
};

ISOLATED_TEST(RouteSection, AWriterThatNeverEndsHoldsAReaderForSecondsOnly) {
    const Semaphores semaphores;
    semaphores.set_writing(true);
    const Call_Log log;
    const Hb_Route_Section section;
    EXPECT_FALSE(section.entered());
    const Operations operations = asked(log);
    EXPECT_GE(operations.size(), 2U * 2U) << "it looks more than once";
    EXPECT_LE(operations.size(), 2U * 12U) << "three seconds have twelve steps";
    EXPECT_EQ(0, semaphores.readers());
}

ISOLATED_TEST(RouteSection, SignalsDoNotLengthenTheWait) {
    const Semaphores semaphores;
    semaphores.set_writing(true);
    const Signal_Pelter pelter;
    const Hb_Route_Section section;
    EXPECT_FALSE(section.entered());
    EXPECT_GT(Signal_Pelter::hits(), 0);
}

ISOLATED_TEST(RouteSection, AStepThatIsOverIsFollowedByAnother) {
    const Semaphores semaphores;
    const Header_Segment header(false);
    const Call_Log log;
    const Fault_Guard fault = failing(Call::semop_, EAGAIN, 0, 2);
    const Hb_Route_Section section;
    EXPECT_TRUE(section.entered());
    EXPECT_EQ(ENTER + ENTER + ENTER, asked(log));
}

ISOLATED_TEST(RouteSection, ADaemonThatHasEndedIsNotWaitedFor) {
    const Semaphores semaphores;
    const Header_Segment header(true);
    const Call_Log log;
    const Fault_Guard fault = failing(Call::semop_, EAGAIN, 0, -1);
    const Hb_Route_Section section;
    EXPECT_FALSE(section.entered());
    EXPECT_EQ(ENTER, asked(log)) << "one step, then it looked";
}

ISOLATED_TEST(RouteSection, ADaemonThatHasRemovedItsSegmentsIsNotWaitedFor) {
    const Semaphores semaphores;
    Header_Segment header(false);
    header.remove();
    const Call_Log log;
    const Fault_Guard fault = failing(Call::semop_, EAGAIN, 0, -1);
    const Hb_Route_Section section;
    EXPECT_FALSE(section.entered());
    EXPECT_EQ(ENTER, asked(log));
}

ISOLATED_TEST(RouteSection, ACountThatSomebodyResetDoesNotHoldAReaderInside) {
    const Semaphores semaphores;
    {
        const Hb_Route_Section section;
        EXPECT_EQ(0, semctl(semaphores.id(), 0, SETVAL, 0));
    }
    EXPECT_EQ(0, semaphores.readers()) << "it left without waiting to be counted";
}

ISOLATED_TEST(RouteSection, ASetRemovedWhileInsideDoesNoHarm) {
    Semaphores semaphores;
    const Call_Log log;
    {
        const Hb_Route_Section section;
        semaphores.remove();
    }
    EXPECT_EQ(ENTER + LEAVE, asked(log));
}

// ---- How many routes there are ----

Fake_Daemon_Plan with(const Segments_Plan &segments) {
    Fake_Daemon_Plan plan;
    plan.segments = segments;
    return plan;
}

int error_of_attaching() {
    EXPECT_TRUE(hb_resolve_socket_path());
    set_hb_errno(0);
    return hb_init_shared_memory() == Hb_Success ? 0 : global_hb_errno;
}

ISOLATED_TEST(RouteSlots, AreNoneBeforeAnythingIsAttached) {
    EXPECT_EQ(0U, hb_attached_route_slots());
}

ISOLATED_TEST(RouteSlots, AreThoseOfTheAttachedSegment) {
    Fake_Daemon daemon(with(segments_for(13)));
    EXPECT_EQ(0, error_of_attaching());
    EXPECT_EQ(13U, hb_attached_route_slots());
}

ISOLATED_TEST(RouteSlots, DoNotGrowWithTheClusterWhileTheOldSegmentIsAttached) {
    Fake_Daemon daemon(with(segments_for(8)));
    EXPECT_EQ(0, error_of_attaching());
    const Bytes grown = Bytes().i32(2).i32(2049).i32(98352);
    std::memcpy(daemon.segments().configuration(), grown.data(), grown.size());
    EXPECT_EQ(8U, hb_attached_route_slots());
    EXPECT_EQ(2049U, static_cast<const volatile uint32_t &>(data_for_client->number_of_nodes));
}

ISOLATED_TEST(RouteSlots, AreNoneOnceItIsDetached) {
    Fake_Daemon daemon(with(segments_for(8)));
    EXPECT_EQ(0, error_of_attaching());
    hb_detach_shared_memory();
    EXPECT_EQ(0U, hb_attached_route_slots());
    EXPECT_EQ(nullptr, shared_route_info);
    EXPECT_EQ(-1, shm_sem_id);
    hb_detach_shared_memory();
    EXPECT_EQ(0U, hb_attached_route_slots());
}

ISOLATED_TEST(RouteSlots, AreNoneWhenTheNewSegmentCannotBeAttached) {
    Fake_Daemon daemon(with(segments_for(8)));
    EXPECT_EQ(0, error_of_attaching());
    const Bytes grown = Bytes().i32(2).i32(2049).i32(0);
    std::memcpy(daemon.segments().configuration(), grown.data(), grown.size());
    EXPECT_EQ(32, error_of_attaching()) << "the segment has eight records still";
    EXPECT_EQ(0U, hb_attached_route_slots());
    EXPECT_EQ(nullptr, shared_route_info);
}

ISOLATED_TEST(RouteSlots, AreThereWhenALaterStepFails) {
    Segments_Plan segments = segments_for(8);
    segments.security.present = false;
    Fake_Daemon daemon(with(segments));
    EXPECT_EQ(33, error_of_attaching());
    EXPECT_EQ(8U, hb_attached_route_slots());
    EXPECT_NE(nullptr, shared_route_info);
}

ISOLATED_TEST(RouteSlots, FollowANewDaemon) {
    {
        Fake_Daemon first(with(segments_for(3)));
        EXPECT_EQ(0, error_of_attaching());
        EXPECT_EQ(3U, hb_attached_route_slots());
    }
    Fake_Daemon second(with(segments_for(9)));
    EXPECT_EQ(0, error_of_attaching());
    EXPECT_EQ(9U, hb_attached_route_slots());
}

} // namespace
} // namespace hb_test
