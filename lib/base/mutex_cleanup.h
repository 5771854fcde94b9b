// Thread-cancellation clean-up of whoever holds a mutex.
#ifndef HB_MUTEX_CLEANUP_H
#define HB_MUTEX_CLEANUP_H

// Unlocks the pthread_mutex_t that it is given, so that a cancelled thread leaves nothing locked.
void mutex_cleanup_handler(void *mutex);

#endif
