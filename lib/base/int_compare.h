// SPDX-License-Identifier: Apache-2.0
// The order of plain ints, for qsort.
#pragma once

// Returns a negative value, zero or a positive value when the first int is below, equal to or above the
// second.
int int_compare(const void *a, const void *b);
