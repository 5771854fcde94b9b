// What semctl takes as its fourth argument; the system's headers leave it to the program to say so.
#ifndef WISPD_SEMAPHORE_ARGUMENT_H
#define WISPD_SEMAPHORE_ARGUMENT_H

#include <sys/sem.h>

namespace wispd {

union Semaphore_Argument {
    int val;
    semid_ds *buf;
    unsigned short *array;
};

} // namespace wispd

#endif
