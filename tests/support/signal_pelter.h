// SPDX-License-Identifier: Apache-2.0
// Sends a signal again and again to the thread that made this object, so that its system calls are interrupted.
#pragma once

#include <csignal>
#include <ctime>

namespace hb_test {

// Only one may exist in a process.
class Signal_Pelter {
  public:
    Signal_Pelter();
    Signal_Pelter(const Signal_Pelter &) = delete;
    Signal_Pelter &operator=(const Signal_Pelter &) = delete;
    ~Signal_Pelter();

    // Signals handled so far; any thread may call it.
    static int hits();

  private:
    timer_t timer_{};
    struct sigaction before_ {};
};

} // namespace hb_test
