// A thread of the test's own that calls the library and blocks there, to be cancelled.
#ifndef HB_TEST_CALLING_THREAD_H
#define HB_TEST_CALLING_THREAD_H

#include <pthread.h>
#include <sys/types.h>

#include <atomic>
#include <functional>

namespace hb_test {

class CallingThread {
  public:
    // Runs the body at once. Throws when no thread can be made.
    explicit CallingThread(std::function<void()> body);
    CallingThread(const CallingThread &) = delete;
    CallingThread &operator=(const CallingThread &) = delete;
    // Cancels it if it was not joined.
    ~CallingThread();

    // Until the thread sleeps in the system; false at the deadline.
    bool wait_asleep() const;
    void cancel();
    // Waits for its end. True when a cancellation ended it, false when the body returned.
    bool join_cancelled();

  private:
    static void *run(void *self);

    std::function<void()> body_;
    pthread_t thread_{};
    std::atomic<pid_t> id_{0};
    bool joined_ = false;
};

} // namespace hb_test

#endif
