// SPDX-License-Identifier: Apache-2.0
// A thread of the test that calls the library and blocks there, so that it can be cancelled.
#pragma once

#include <atomic>
#include <functional>
#include <pthread.h>
#include <sys/types.h>

namespace hb_test {

class Calling_Thread {
  public:
    // Runs the body at once. Throws if no thread can be made.
    explicit Calling_Thread(std::function<void()> body);
    Calling_Thread(const Calling_Thread &) = delete;
    Calling_Thread &operator=(const Calling_Thread &) = delete;
    // Cancels the thread unless it was joined.
    ~Calling_Thread();

    // Waits until the thread sleeps in the system. Returns false at the deadline.
    bool wait_asleep() const;
    void cancel();
    // Waits for the thread's end. Returns true if a cancellation ended it, false if the body returned.
    bool join_cancelled();

  private:
    static void *run(void *self);

    std::function<void()> body_;
    pthread_t thread_{};
    std::atomic<pid_t> id_{0};
    bool joined_ = false;
};

} // namespace hb_test
