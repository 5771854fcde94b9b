// SPDX-License-Identifier: Apache-2.0
#include <string.h>

#include "qz_mss.h"

void sec_wipe(void *memory, size_t length) {
    if (memory != nullptr && length != 0) {
        explicit_bzero(memory, length);
    }
}
