// SPDX-License-Identifier: Apache-2.0
// Waits for a condition. Deadlines are long: they only end a test that hangs, and no test result depends on how
// long something lasted.
#pragma once

#include <chrono>
#include <functional>

namespace hb_test {

inline constexpr std::chrono::seconds GENEROUS{60};

class Deadline {
  public:
    explicit Deadline(std::chrono::milliseconds length = GENEROUS);
    bool over() const;
    // Remaining time, for poll; 0 after the deadline.
    int milliseconds_left() const;

  private:
    std::chrono::steady_clock::time_point end_;
};

// Returns true as soon as the condition holds, false if it still does not hold at the deadline.
bool wait_until(const std::function<bool()> &condition, const Deadline &deadline = Deadline());

// Waits until there is something to read, or the stream ends.
bool wait_readable(int fd, const Deadline &deadline = Deadline());

} // namespace hb_test
