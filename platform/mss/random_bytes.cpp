// SPDX-License-Identifier: Apache-2.0
#include "random_bytes.h"

#include <cerrno>
#include <sys/random.h>

bool fill_with_random_bytes(std::span<unsigned char> out) {
    while (!out.empty()) {
        const ssize_t got = getrandom(out.data(), out.size(), 0);
        if (got > 0) {
            out = out.subspan(static_cast<size_t>(got));
        } else if (got == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}
