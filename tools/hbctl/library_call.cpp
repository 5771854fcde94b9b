// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/library_call.h"

#include <atomic>
#include <unistd.h>

namespace hbctl {
namespace {

// Each side writes its own variable before it reads the other one. So one of them sees a signal that arrives while a
// call begins, also in another thread.
std::atomic<int> depth = 0;
std::atomic<bool> is_ending = false;
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

} // namespace

Library_Call::Library_Call() {
    ++depth;
    if (is_ending) {
        _exit(0);
    }
}

Library_Call::~Library_Call() {
    --depth;
}

bool Library_Call::is_running() {
    return depth > 0;
}

void Library_Call::end_process() {
    is_ending = true;
    if (is_running()) {
        _exit(0);
    }
}

void Library_Call::stay_alive() {
    is_ending = false;
}

} // namespace hbctl
