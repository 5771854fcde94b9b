#include "lib/hb_global_data/error_number.h"

#include "hb_client.h"

int global_hb_errno = 0;

void set_hb_errno(int number) {
    global_hb_errno = number;
}

int hb_get_errno() {
    return global_hb_errno;
}
