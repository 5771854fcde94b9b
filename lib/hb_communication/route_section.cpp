// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_communication/route_section.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <sys/sem.h>
#include <sys/shm.h>

#include "lib/hb_communication/shared_segments.h"

namespace {

// Any process with access to the semaphores can set them to a value that no process resets. A working daemon
// holds readers back for one second at most, so a reader waits only a little longer.
constexpr timespec STEP = {0, 250'000'000};
constexpr long long LONGEST = 2'750'000'000; // nanoseconds after the first step: three seconds in all

timespec now() {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time;
}

bool is_over(const timespec &since) {
    const timespec time = now();
    return (time.tv_sec - since.tv_sec) * 1'000'000'000LL + (time.tv_nsec - since.tv_nsec) >= LONGEST;
}

// Checks whether a daemon that could end the wait may still run. The daemon is the process that created
// segment 1. Process number 0 means a process that this one cannot see.
bool daemon_may_be_there() {
    if (shm_id[0] == -1) {
        return true;
    }
    shmid_ds status = {};
    if (shmctl(shm_id[0], IPC_STAT, &status) == -1) {
        return errno == EACCES;
    }
    if ((status.shm_perm.mode & SHM_DEST) != 0) {
        return false;
    }
    return status.shm_cpid <= 0 || kill(status.shm_cpid, 0) == 0 || errno != ESRCH;
}

// Returns false when the semaphores cannot be used, or when no process is left to end the wait.
bool enter_section() {
    sembuf enter[2] = {{HB_SEM_READERS, 1, SEM_UNDO}, {HB_SEM_WRITER, 0, 0}};
    timespec since = {};
    for (bool waited = false;; waited = true) {
        timespec step = STEP;
        if (semtimedop(shm_sem_id, enter, 2, &step) == 0) {
            return true;
        }
        if (errno != EINTR && (errno != EAGAIN || !daemon_may_be_there())) {
            return false;
        }
        if (!waited) {
            since = now();
        } else if (is_over(since)) {
            return false;
        }
    }
}

} // namespace

Hb_Route_Section::Hb_Route_Section() : entered_(enter_section()) {}

// Another process may have set the count to 0. It no longer counts this reader, so there is nothing to wait
// for.
Hb_Route_Section::~Hb_Route_Section() {
    if (entered_) {
        sembuf leave = {HB_SEM_READERS, -1, SEM_UNDO};
        timespec at_once = {0, 0};
        semtimedop(shm_sem_id, &leave, 1, &at_once);
    }
}
