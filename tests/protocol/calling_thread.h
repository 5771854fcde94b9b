// A thread of the test that calls the library and blocks there, so that it can be cancelled.
#ifndef HB_TEST_CALLING_THREAD_H
#define HB_TEST_CALLING_THREAD_H

#include <pthread.h>
#include <sys/types.h>

#include <atomic>
#include <functional>

namespace hb_test {

class CallingThread {
  public:
    // Runs the body at once. Throws if no thread can be made.
    explicit CallingThread(std::function<void()> body);
    CallingThread(const CallingThread &) = delete;
    CallingThread &operator=(const CallingThread &) = delete;
    // Cancels the thread unless it was joined.
    ~CallingThread();

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

#endif
