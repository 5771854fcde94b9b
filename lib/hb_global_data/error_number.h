// The library's error number: one plain integer for the process, read with hb_get_errno.
#ifndef HB_ERROR_NUMBER_H
#define HB_ERROR_NUMBER_H

extern int global_hb_errno;

void set_hb_errno(int number);

#endif
