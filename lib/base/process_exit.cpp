#include "lib/base/process_exit.h"

#include <cstdlib>
#include <dlfcn.h>

namespace {

bool process_ends = false; // from the start where the library is never unloaded

bool note_end() {
    // dlclose() calls the function too, but only behind the destructor functions.
    return std::atexit([] { process_ends = true; }) == 0;
}

// The program's own handle finds what the program is linked with and what is preloaded. It does not find what
// dlopen() loads: the constructor functions run before RTLD_GLOBAL has an effect.
bool is_part_of_program() {
    void *program = dlopen(nullptr, RTLD_LAZY);
    if (program == nullptr) {
        return false;
    }
    const bool is_found = dlsym(program, "hb_init") != nullptr;
    dlclose(program);
    dlerror(); // A program that asks for the loader's last error does not receive this look-up's.
    return is_found;
}

// A library that is linked or preloaded may be opened by another one's constructor function, before the system
// registers the destructor functions. No registration of its own would then come first at the end.
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
