// SPDX-License-Identifier: Apache-2.0
#include "bench/comparison/interruption.h"

#include <csignal>

namespace comparison {

namespace {

volatile std::sig_atomic_t interrupted = 0;

} // namespace

void note_interruptions() {
    struct sigaction action {};
    action.sa_handler = [](int) { interrupted = 1; };
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool is_interrupted() {
    return interrupted != 0;
}

} // namespace comparison
