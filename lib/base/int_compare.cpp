// SPDX-License-Identifier: Apache-2.0
#include "lib/base/int_compare.h"

int int_compare(const void *a, const void *b) {
    const int first = *static_cast<const int *>(a);
    const int second = *static_cast<const int *>(b);
    // The difference of two distant ints would overflow.
    return (first > second) - (first < second);
}
