// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/standard_descriptors.h"

#include <fcntl.h>
#include <unistd.h>

namespace hbctl {

void ensure_standard_descriptors() {
    int descriptor = open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        descriptor = open("/dev/null", O_RDWR);
    }
    if (descriptor >= 0) {
        close(descriptor);
    }
}

} // namespace hbctl
