// SPDX-License-Identifier: Apache-2.0
// The library's locks: one for opening, one for the registration of tracing. A thread may be cancelled while
// it waits for a lock or holds it, and a process may fork meanwhile. Neither leaves a lock held.
#pragma once

#include <pthread.h>

struct Hb_Lock {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER; // guards the other members; held only for a moment
    pthread_cond_t released = PTHREAD_COND_INITIALIZER;
    bool is_held = false;
    pthread_t holder = {}; // valid only while held
};

extern Hb_Lock hb_opening_lock;
extern Hb_Lock hb_tracing_lock;

// Holds a lock for as long as the object lives. Waiting for the lock is a cancellation point.
class Hb_Locked {
  public:
    explicit Hb_Locked(Hb_Lock &lock);
    Hb_Locked(const Hb_Locked &) = delete;
    Hb_Locked &operator=(const Hb_Locked &) = delete;
    ~Hb_Locked();

    // False when this thread already held the lock: what the lock guards is then in the middle of a change.
    bool entered() const { return entered_; }

  private:
    Hb_Lock &lock_;
    bool entered_ = false;
};
