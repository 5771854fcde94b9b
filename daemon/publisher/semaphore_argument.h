// What semctl takes as its fourth argument; the system's headers leave it to the program to say so.
#pragma once

#include <sys/sem.h>

namespace wispd {

union Semaphore_Argument {
    int val;
    semid_ds *buf;
    unsigned short *array;
};

} // namespace wispd
