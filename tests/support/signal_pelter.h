// Sends a signal again and again to the thread that made this object, so that its system calls are interrupted.
#ifndef HB_TEST_SIGNAL_PELTER_H
#define HB_TEST_SIGNAL_PELTER_H

#include <csignal>
#include <ctime>

namespace hb_test {

// Only one may exist in a process.
class SignalPelter {
  public:
    SignalPelter();
    SignalPelter(const SignalPelter &) = delete;
    SignalPelter &operator=(const SignalPelter &) = delete;
    ~SignalPelter();

    // Signals handled so far; any thread may call it.
    static int hits();

  private:
    timer_t timer_{};
    struct sigaction before_ {};
};

} // namespace hb_test

#endif
