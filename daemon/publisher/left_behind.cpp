// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/left_behind.h"

#include <array>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <unistd.h>

#include "daemon/publisher/segment_layout.h"
#include "daemon/publisher/semaphore_argument.h"

namespace wispd {

namespace {

// Returns the id of the record's segment. Returns -1 if no segment exists, or if its creator cannot be proven.
int proven_segment(const Ipc_Record &record, std::size_t which) {
    if (record.segment_keys[which] == IPC_PRIVATE) {
        return -1;
    }
    const int id = shmget(record.segment_keys[which], 0, 0);
    shmid_ds status{};
    if (id < 0 || shmctl(id, IPC_STAT, &status) != 0) {
        return -1;
    }
    const bool ours = status.shm_cpid == record.pid && status.shm_perm.cuid == geteuid() &&
                      is_plausible_size(which, status.shm_segsz);
    return ours ? id : -1;
}

bool remove_segment(std::size_t which, int id) {
    void *address = shmat(id, nullptr, 0);
    if (address != reinterpret_cast<void *>(-1)) {
        invalidate_segment(which, address);
        shmdt(address);
    }
    return shmctl(id, IPC_RMID, nullptr) == 0;
}

bool remove_semaphores(const Ipc_Record &record) {
    const int id = record.semaphore_key == IPC_PRIVATE ? -1 : semget(record.semaphore_key, 0, 0);
    semid_ds status{};
    Semaphore_Argument argument{};
    argument.buf = &status;
    if (id < 0 || semctl(id, 0, IPC_STAT, argument) != 0) {
        return false;
    }
    return status.sem_nsems == HB_SEM_COUNT && status.sem_perm.cuid == geteuid() &&
           semctl(id, 0, IPC_RMID) == 0;
}

} // namespace

int remove_left_behind(const Ipc_Record &record) {
    int removed = 0;
    std::array<int, 3> proven{};
    bool any = false;
    for (std::size_t which : {CONFIGURATION_SEGMENT, ROUTE_SEGMENT, SECURITY_SEGMENT}) {
        proven[which] = proven_segment(record, which);
        any = any || proven[which] >= 0;
    }
    // The system does not record the creator of semaphores. They are removed together with a proven segment.
    if (any && remove_semaphores(record)) {
        ++removed;
    }
    for (std::size_t which : {CONFIGURATION_SEGMENT, ROUTE_SEGMENT, SECURITY_SEGMENT}) {
        if (proven[which] >= 0 && remove_segment(which, proven[which])) {
            ++removed;
        }
    }
    return removed;
}

} // namespace wispd
