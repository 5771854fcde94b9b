// The order of plain ints, for qsort.
#ifndef HB_INT_COMPARE_H
#define HB_INT_COMPARE_H

// Returns a negative value, zero or a positive value when the first int is below, equal to or above the
// second.
int int_compare(const void *a, const void *b);

#endif
