// SPDX-License-Identifier: Apache-2.0
#include "lib/base/mutex_cleanup.h"

#include <pthread.h>

void mutex_cleanup_handler(void *mutex) {
    pthread_mutex_unlock(static_cast<pthread_mutex_t *>(mutex));
}
