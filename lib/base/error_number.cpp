// SPDX-License-Identifier: Apache-2.0
#include "lib/base/error_number.h"

#include <atomic>

#include "hb_client.h"

int global_hb_errno = 0;

// Several threads may fail at the same time. The number of the last one stays.
void set_hb_errno(int number) {
    std::atomic_ref<int>(global_hb_errno).store(number, std::memory_order_relaxed);
}

int hb_get_errno() {
    return std::atomic_ref<int>(global_hb_errno).load(std::memory_order_relaxed);
}
