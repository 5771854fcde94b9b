// SPDX-License-Identifier: Apache-2.0
// A client that opens the library and then executes the given program.
#include <cstdio>
#include <unistd.h>

#include "hb_client.h"

int main(int count, char **words) {
    if (count < 2) {
        std::fputs("usage: exec_client PROGRAM [WORD]...\n", stderr);
        return 2;
    }
    if (hb_init() != Hb_Success) {
        std::fprintf(stderr, "exec_client: error %d\n", hb_get_errno());
        return 3;
    }
    execvp(words[1], words + 1);
    std::perror("exec_client");
    return 3;
}
