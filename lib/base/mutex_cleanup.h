// Clean-up for a thread that is cancelled while it holds a mutex.
#ifndef HB_MUTEX_CLEANUP_H
#define HB_MUTEX_CLEANUP_H

// Unlocks the given pthread_mutex_t, so that a cancelled thread leaves nothing locked.
void mutex_cleanup_handler(void *mutex);

#endif
