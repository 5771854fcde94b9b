// SPDX-License-Identifier: Apache-2.0
#include "lib/base/lock.h"

Hb_Lock hb_opening_lock;
Hb_Lock hb_tracing_lock;

namespace {

// Locks the mutex within a scope. A wait that is cancelled leaves the scope with the mutex locked.
class Mutex_Guard {
  public:
    explicit Mutex_Guard(pthread_mutex_t &mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
    ~Mutex_Guard() { pthread_mutex_unlock(&mutex_); }
    Mutex_Guard(const Mutex_Guard &) = delete;
    Mutex_Guard &operator=(const Mutex_Guard &) = delete;

  private:
    pthread_mutex_t &mutex_;
};

// A forked child has only the forking thread. It would wait for ever for a lock that another thread held.
void free_in_child(Hb_Lock &lock) {
    lock.mutex = PTHREAD_MUTEX_INITIALIZER;
    lock.released = PTHREAD_COND_INITIALIZER;
    lock.is_held = lock.is_held && pthread_equal(lock.holder, pthread_self()) != 0;
}

void free_locks_in_child() {
    free_in_child(hb_opening_lock);
    free_in_child(hb_tracing_lock);
}

// Unloading the library removes the registration. A child that is forked during the registration has no
// handler yet, and its pthread_once starts again.
void watch_forks() {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, [] { pthread_atfork(nullptr, nullptr, free_locks_in_child); });
}

} // namespace

Hb_Locked::Hb_Locked(Hb_Lock &lock) : lock_(lock) {
    watch_forks();
    const Mutex_Guard guard(lock_.mutex);
    if (lock_.is_held && pthread_equal(lock_.holder, pthread_self()) != 0) {
        return;
    }
    while (lock_.is_held) {
        pthread_cond_wait(&lock_.released, &lock_.mutex);
    }
    lock_.is_held = true;
    lock_.holder = pthread_self();
    entered_ = true;
}

Hb_Locked::~Hb_Locked() {
    if (entered_) {
        const Mutex_Guard guard(lock_.mutex);
        lock_.is_held = false;
        pthread_cond_signal(&lock_.released);
    }
}
