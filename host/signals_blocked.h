// SPDX-License-Identifier: Apache-2.0
// Blocks signals for threads that must leave them to the program's other threads.
#pragma once

#include <csignal>

namespace wispd {

// Threads that are started while this object exists receive no signals.
class Signals_Blocked {
  public:
    Signals_Blocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    Signals_Blocked(const Signals_Blocked &) = delete;
    Signals_Blocked &operator=(const Signals_Blocked &) = delete;
    ~Signals_Blocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

  private:
    sigset_t before_;
};

} // namespace wispd
