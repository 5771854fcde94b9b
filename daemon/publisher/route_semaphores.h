// SPDX-License-Identifier: Apache-2.0
// The semaphores that keep readers and the writer of the route segment apart.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <sys/types.h>

#include "lib/wire/hb_wire.h"

namespace wispd {

// The values of the semaphores.
struct Semaphore_Values {
    int readers = -1; // -1: unknown
    int writer = -1;
    // True if another process has set a value since this process last did. Readers never set a value.
    bool set_by_others = false;
};

class Route_Semaphores {
  public:
    Route_Semaphores() = default;
    Route_Semaphores(Route_Semaphores &&other) noexcept;
    Route_Semaphores &operator=(Route_Semaphores &&) = delete;
    ~Route_Semaphores() { remove(); }

    // Creates the semaphores; a `group` of -1 means the process's own group. Returns false with errno set on
    // failure.
    bool make(int32_t key, mode_t mode, gid_t group);
    void remove();

    // Keeps readers from entering the route segment. The system releases the readers if the daemon dies.
    // Returns false with errno set on failure.
    bool hold_readers();
    // Does the same only if both semaphores are 0, in one step: no reader is inside, and no process altered semaphore 1.
    bool hold_if_unused();
    void release_readers();
    // Returns the number of readers inside, or -1 with errno set if it is unknown.
    int readers_inside() const;
    Semaphore_Values values() const;
    // Set the semaphore to 0. The system then also discards the changes that it would undo when a process ends.
    void reset_readers() { reset(HB_SEM_READERS); }
    void reset_writer() { reset(HB_SEM_WRITER); }

  private:
    bool step(unsigned short semaphore, int by, int flags) const;
    void reset(unsigned short semaphore);
    std::optional<time_t> time_of_setting() const;

    int id_ = -1;
    time_t set_at_ = 0; // time of this process's last change, as the system recorded it
};

} // namespace wispd
