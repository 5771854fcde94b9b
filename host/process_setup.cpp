// SPDX-License-Identifier: Apache-2.0
#include "host/process_setup.h"

#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace wispd {

namespace {

// The kernel assigns the lowest free number, so opening in ascending order fills each gap.
void open_standard_descriptors() {
    for (int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) < 0 && open("/dev/null", O_RDWR) < 0) {
            _exit(EXIT_FAILURE); // no descriptor is left to report an error to
        }
    }
}

bool is_traced() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        std::istringstream words(line);
        std::string key;
        long tracer = 0;
        if (words >> key >> tracer && key == "TracerPid:") {
            return tracer != 0;
        }
    }
    return false;
}

} // namespace

void prepare_process() {
    open_standard_descriptors();
    umask(022);
    if (!is_traced()) {
        prctl(PR_SET_DUMPABLE, 0);
    }
}

} // namespace wispd
