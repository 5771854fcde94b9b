// Writes the routes into the shared segment while no reader is inside.
//
// New readers are held back by one semaphore, and those inside are counted by the other. They stay for
// microseconds and are counted out by the system when they die, but one can be stopped inside. The daemon's
// other work goes on meanwhile, and so do the readers after a bounded time: the routes then stay as they were
// and are written later, at the second attempt in any case. A reader that goes on after that finds that its copy
// is not whole, and copies again.
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
    std::chrono::milliseconds pause{5000}; // before the next attempt, when one stayed
    int attempts = 2;                      // then the number of readers is not believed any more
    std::chrono::milliseconds look_after = Semaphore_Watch::PERIOD; // the semaphores
};

class Route_Writer {
  public:
    // Both must outlive the writer; it is always their newest state that is written.
    Route_Writer(asio::io_context &context, Shared_Segments &segments, const Routes &routes,
                 const Route_Patience &patience = {});
    Route_Writer(const Route_Writer &) = delete;
    Route_Writer &operator=(const Route_Writer &) = delete;
    ~Route_Writer();

    // The routes have changed.
    void publish();

    // Whether the newest ones are written.
    bool is_current() const { return state_ == State::idle; }
    // Generation of what is written; 0: nothing yet.
    Hb_Sequence_Number sequence() const { return sequence_; }

  private:
    enum class State { idle, waiting, pausing };

    void begin();
    void look();
    bool hold();
    void let_in();
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
