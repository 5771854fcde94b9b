// SPDX-License-Identifier: Apache-2.0
// Writes the routes into the shared segment while no reader is inside.
//
// One semaphore keeps new readers out; the other counts the readers inside. Readers stay for microseconds, and
// the system corrects the count when one dies. A stopped reader, however, can stay inside.
//
// While the writer waits, the daemon's other work continues. After a limited time readers may enter again, and
// the old routes stay. A later attempt writes the new routes, the second attempt in any case. A reader that was
// inside then detects an inconsistent copy and copies again.
#pragma once

#include <chrono>
#include <string>

#include <asio/steady_timer.hpp>

#include "cluster/routes.h"
#include "daemon/publisher/semaphore_watch.h"
#include "daemon/publisher/shared_segments.h"

namespace wispd {

struct Route_Patience {
    std::chrono::microseconds look_again{500};
    std::chrono::milliseconds wait{1000};  // for the readers that are inside
    std::chrono::milliseconds pause{5000}; // before the next attempt, if a reader stayed
    // After this many attempts the number of readers is considered wrong.
    int attempts = 2;
    // Interval between checks of the semaphores.
    std::chrono::milliseconds check_period = Semaphore_Watch::PERIOD;
};

class Route_Writer {
  public:
    // `segments` and `routes` must outlive the writer. The writer always writes their newest state.
    Route_Writer(asio::io_context &context, Shared_Segments &segments, const Routes &routes,
                 const Route_Patience &patience = {});
    Route_Writer(const Route_Writer &) = delete;
    Route_Writer &operator=(const Route_Writer &) = delete;
    ~Route_Writer();

    // Publishes changed routes, at once or when readers permit it.
    void publish();

    // Returns true if the newest routes are written.
    bool is_current() const { return state_ == State::idle; }
    // Returns the generation of the written routes; 0: no routes written yet.
    Hb_Sequence_Number sequence() const { return sequence_; }

  private:
    enum class State { idle, waiting, pausing };

    void begin();
    void check_readers();
    bool hold();
    void release_readers();
    void wait_in_vain(const std::string &why);
    void write();
    void give_up(const std::string &why);
    void after(std::chrono::microseconds time, void (Route_Writer::*next)());

    Shared_Segments &segments_;
    const Routes &routes_;
    Route_Patience patience_;
    Semaphore_Watch watch_;
    asio::steady_timer timer_;
    State state_ = State::idle;
    std::chrono::steady_clock::time_point since_;
    Hb_Sequence_Number sequence_ = 0;
    bool complained_ = false;
    int attempts_in_vain_ = 0;
};

} // namespace wispd
