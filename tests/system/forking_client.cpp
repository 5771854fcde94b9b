// SPDX-License-Identifier: Apache-2.0
// A client with the simulated service that forks. Shows the child's state, and that the child's end does not
// affect the parent.
#include <cstdio>
#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>

#include "hb_client.h"

int main() {
    hb_migrate_to_mox_commit(); // no daemon: the service is the source
    if (hb_init() != Hb_Success || hb_migrate_to_mox_prep() != Hb_Success) {
        return 1;
    }
    const pid_t child = fork();
    if (child == 0) {
        const Hb_Rc prepared = hb_migrate_to_mox_prep();
        std::printf("child: %d, error %d\n", prepared, hb_get_errno());
        std::exit(0); // runs everything that belongs to a normal exit
    }
    int status = -1;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        return 1;
    }
    const char *control = std::getenv("HB_MOX_SIM_CONTROL");
    std::printf("parent: child's status %d, control socket %s, prepares %d\n", status,
                control != nullptr && access(control, F_OK) == 0 ? "there" : "gone", hb_migrate_to_mox_prep());
    return 0;
}
