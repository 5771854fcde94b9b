// The library's locks: one around opening, one around the registration of tracing. A thread may be cancelled while it
// waits for one or holds one, and a process may fork meanwhile: neither leaves a lock held.
#ifndef HB_LOCK_H
#define HB_LOCK_H

#include <pthread.h>

struct Hb_Lock {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER; // guards the rest, for a moment at a time
    pthread_cond_t released = PTHREAD_COND_INITIALIZER;
    bool is_held = false;
    pthread_t holder = {}; // valid while held
};

extern Hb_Lock hb_opening_lock;
extern Hb_Lock hb_tracing_lock;

// Holds a lock for as long as the object lives. Waiting for it is a cancellation point.
class Hb_Locked {
  public:
    explicit Hb_Locked(Hb_Lock &lock);
    Hb_Locked(const Hb_Locked &) = delete;
    Hb_Locked &operator=(const Hb_Locked &) = delete;
    ~Hb_Locked();

    // False when this thread held the lock before: what it guards is then half way through a change.
    bool entered() const { return entered_; }

  private:
    Hb_Lock &lock_;
    bool entered_ = false;
};

#endif
