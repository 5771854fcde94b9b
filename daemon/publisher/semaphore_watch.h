// SPDX-License-Identifier: Apache-2.0
// Checks and corrects the two semaphores of the route segment.
//
// Readers count themselves in and out, so any process that may read routes may also alter the semaphores. A
// wrong value would block all readers and the writer.
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

    // Checks the semaphores once in each period. `segments` must outlive the watch.
    Semaphore_Watch(asio::io_context &context, Shared_Segments &segments,
                    std::chrono::milliseconds period = PERIOD);
    Semaphore_Watch(const Semaphore_Watch &) = delete;
    Semaphore_Watch &operator=(const Semaphore_Watch &) = delete;

    // States whether the daemon holds readers back, in which case semaphore 1 must be set.
    void set_holding(bool holding) { holding_ = holding; }
    bool is_holding() const { return holding_; }
    // Checks at once. Returns true if both semaphores were correct.
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
