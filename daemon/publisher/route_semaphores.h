// The semaphores that keep readers and the writer of the route segment apart.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <sys/types.h>

#include "lib/wire/hb_wire.h"

namespace wispd {

// What the semaphores hold.
struct Semaphore_Values {
    int readers = -1; // -1: it cannot be found out
    int writer = -1;
    bool set_by_others = false; // another process has set a value, as no reader does, since this one last did
};

class Route_Semaphores {
  public:
    Route_Semaphores() = default;
    Route_Semaphores(Route_Semaphores &&other) noexcept;
    Route_Semaphores &operator=(Route_Semaphores &&) = delete;
    ~Route_Semaphores() { remove(); }

    // Makes them; a `group` of -1 is the process's own. False, with the reason in errno, when that cannot be.
    bool make(int32_t key, mode_t mode, gid_t group);
    void remove();

    // Keeps readers from entering the route segment; the system undoes it when the daemon dies. False, with the
    // reason in errno, when that cannot be.
    bool hold_readers();
    void release_readers();
    // -1, with the reason in errno, when it cannot be found out.
    int readers_inside() const;
    Semaphore_Values values() const;
    // Sets the semaphore to 0. What the system would undo at the end of a process is forgotten with it.
    void reset_readers() { reset(HB_SEM_READERS); }
    void reset_writer() { reset(HB_SEM_WRITER); }

  private:
    bool step(unsigned short semaphore, int by, int flags) const;
    void reset(unsigned short semaphore);
    std::optional<time_t> time_of_setting() const;

    int id_ = -1;
    time_t set_at_ = 0; // by this process, as the system noted it
};

} // namespace wispd
