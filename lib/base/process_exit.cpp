// SPDX-License-Identifier: Apache-2.0
#include "lib/base/process_exit.h"

#include <cstdlib>
#include <dlfcn.h>

namespace {

bool process_ends = false; // true from the start where the library is never unloaded

bool note_end() {
    // dlclose() calls this function too, but only after the destructor functions.
    return std::atexit([] { process_ends = true; }) == 0;
}

// The program's own handle finds linked and preloaded libraries only. A library from dlopen() is not found:
// constructor functions run before RTLD_GLOBAL takes effect.
bool is_part_of_program() {
    void *program = dlopen(nullptr, RTLD_LAZY);
    if (program == nullptr) {
        return false;
    }
    const bool is_found = dlsym(program, "hb_init") != nullptr;
    dlclose(program);
    dlerror(); // hides this look-up's error from a program that reads the loader's last error
    return is_found;
}

// Another library's constructor function may use a linked or preloaded library before the system registers
// the destructor functions. A registration made here would then come too late in the process's end, so such a
// library makes none.
__attribute__((constructor)) void register_at_load() {
    if (is_part_of_program()) {
        process_ends = true;
    } else {
        note_end();
    }
}

} // namespace

void hb_watch_exit() {
    static bool is_watched = false;
    is_watched = is_watched || note_end();
}

bool hb_process_ends() {
    return process_ends;
}
