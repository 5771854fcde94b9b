// SPDX-License-Identifier: Apache-2.0
// A client with the simulated service that forks. Shows the child's state, and that the child's end does not
// affect the parent.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "hb_client.h"

namespace {

// The state is the letter behind the name, which ends with a parenthesis: S while the thread sleeps.
bool sleeps(const std::filesystem::path &task) {
    std::string line;
    std::getline(std::ifstream(task / "stat"), line);
    const std::size_t name_end = line.rfind(')');
    return name_end != std::string::npos && line.compare(name_end, 3, ") S") == 0;
}

// The address sanitizer's allocator has locks that a fork leaves locked in the child. So no other thread may be inside
// it: the service's thread starts up first.
void wait_until_other_threads_sleep() {
    constexpr int times_in_a_row = 5;
    for (int quiet = 0; quiet < times_in_a_row; ++quiet) {
        for (const auto &task : std::filesystem::directory_iterator("/proc/self/task")) {
            if (task.path().filename() != std::to_string(gettid()) && !sleeps(task.path())) {
                quiet = -1;
            }
        }
        usleep(1000);
    }
}

} // namespace

int main() {
    hb_migrate_to_mox_commit(); // no daemon: the service is the source
    if (hb_init() != Hb_Success || hb_migrate_to_mox_prep() != Hb_Success) {
        return 1;
    }
    wait_until_other_threads_sleep();
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
