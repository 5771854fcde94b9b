// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/route_semaphores.h"

#include <cerrno>
#include <iterator>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <utility>

#include "daemon/publisher/semaphore_argument.h"

namespace wispd {

Route_Semaphores::Route_Semaphores(Route_Semaphores &&other) noexcept
    : id_(std::exchange(other.id_, -1)), set_at_(other.set_at_) {}

bool Route_Semaphores::make(int32_t key, mode_t mode, gid_t group) {
    id_ = semget(key, HB_SEM_COUNT, IPC_CREAT | IPC_EXCL | 0600);
    if (id_ < 0) {
        return false;
    }
    semid_ds status{};
    Semaphore_Argument argument{};
    argument.buf = &status;
    if (semctl(id_, 0, IPC_STAT, argument) != 0) {
        return false;
    }
    status.sem_perm.mode = static_cast<unsigned short>(mode);
    if (group != static_cast<gid_t>(-1)) {
        status.sem_perm.gid = group;
    }
    if (semctl(id_, 0, IPC_SET, argument) != 0) {
        return false;
    }
    set_at_ = time_of_setting().value_or(0);
    return true;
}

void Route_Semaphores::remove() {
    if (id_ >= 0) {
        semctl(id_, 0, IPC_RMID);
        id_ = -1;
    }
}

bool Route_Semaphores::step(unsigned short semaphore, int by, int flags) const {
    sembuf operation = {semaphore, static_cast<short>(by), static_cast<short>(flags | IPC_NOWAIT)};
    return semop(id_, &operation, 1) == 0;
}

bool Route_Semaphores::hold_readers() {
    return step(HB_SEM_WRITER, 1, SEM_UNDO);
}

bool Route_Semaphores::hold_if_unused() {
    sembuf operations[] = {{HB_SEM_READERS, 0, IPC_NOWAIT},
                           {HB_SEM_WRITER, 0, IPC_NOWAIT},
                           {HB_SEM_WRITER, 1, IPC_NOWAIT | SEM_UNDO}};
    return semop(id_, operations, std::size(operations)) == 0;
}

void Route_Semaphores::release_readers() {
    step(HB_SEM_WRITER, -1, SEM_UNDO);
}

int Route_Semaphores::readers_inside() const {
    if (step(HB_SEM_READERS, 0, 0)) {
        return 0;
    }
    if (errno != EAGAIN) {
        return -1;
    }
    // All waiting readers may have left by now. The next check then finds no reader.
    const int count = semctl(id_, HB_SEM_READERS, GETVAL);
    return count < 1 ? 1 : count;
}

// Returns the time when a value was last set, or the set was otherwise changed. The system records semaphore
// operations by readers separately.
std::optional<time_t> Route_Semaphores::time_of_setting() const {
    semid_ds status{};
    Semaphore_Argument argument{};
    argument.buf = &status;
    return semctl(id_, 0, IPC_STAT, argument) == 0 ? std::optional(status.sem_ctime) : std::nullopt;
}

Semaphore_Values Route_Semaphores::values() const {
    const std::optional<time_t> set_at = time_of_setting();
    unsigned short both[HB_SEM_COUNT] = {};
    Semaphore_Argument argument{};
    argument.array = both;
    if (!set_at || semctl(id_, 0, GETALL, argument) != 0) {
        return {};
    }
    return {both[HB_SEM_READERS], both[HB_SEM_WRITER], *set_at != set_at_};
}

void Route_Semaphores::reset(unsigned short semaphore) {
    Semaphore_Argument argument{};
    argument.val = 0;
    semctl(id_, semaphore, SETVAL, argument);
    set_at_ = time_of_setting().value_or(set_at_);
}

} // namespace wispd
