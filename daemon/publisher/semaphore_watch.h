// Looks after the two semaphores of the route segment. A process that may read routes may also alter them, since readers
// count themselves in and out; a value that no working reader or writer left there would hold up all of them.
#pragma once

#include <chrono>
#include <string>

#include <asio/steady_timer.hpp>

#include "daemon/publisher/shared_segments.h"

namespace wispd {

class Semaphore_Watch {
  public:
    using Time = std::chrono::steady_clock::time_point;
    static constexpr std::chrono::milliseconds PERIOD{1000};
    static constexpr std::chrono::seconds QUIET{60}; // between two warnings

    // The segments must outlive the watch, which looks once in a period.
    Semaphore_Watch(asio::io_context &context, Shared_Segments &segments,
                    std::chrono::milliseconds period = PERIOD);
    Semaphore_Watch(const Semaphore_Watch &) = delete;
    Semaphore_Watch &operator=(const Semaphore_Watch &) = delete;

    // Whether the daemon holds readers back, which semaphore 1 then says.
    void set_holding(bool holding) { holding_ = holding; }
    bool is_holding() const { return holding_; }
    // Looks at once. Whether all was as it should be.
    bool check();

  private:
    void await();
    void warn(const std::string &what);

    Shared_Segments &segments_;
    std::chrono::milliseconds period_;
    asio::steady_timer timer_;
    bool holding_ = false;
    Time quiet_until_{};
    std::size_t left_out_ = 0;
};

} // namespace wispd
