// SPDX-License-Identifier: Apache-2.0
#include "host/unused_memory.h"

#include <malloc.h>

namespace wispd {

void return_unused_memory() {
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

} // namespace wispd
