#include "lib/hb_process_exit.h"

#include <cstdlib>

namespace {

bool process_ends = false;

} // namespace

void hb_watch_exit() {
    // dlclose() calls the function too, but only behind the destructor functions.
    static bool is_watched = false;
    is_watched = is_watched || std::atexit([] { process_ends = true; }) == 0;
}

bool hb_process_ends() {
    return process_ends;
}
