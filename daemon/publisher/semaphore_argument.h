// SPDX-License-Identifier: Apache-2.0
// The fourth argument of semctl. The system's headers leave its definition to the program.
#pragma once

#include <sys/sem.h>

namespace wispd {

union Semaphore_Argument {
    int val;
    semid_ds *buf;
    unsigned short *array;
};

} // namespace wispd
