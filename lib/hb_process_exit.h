// Whether the process is ending. Then another thread may still be inside the library, which must release nothing.
#ifndef HB_PROCESS_EXIT_H
#define HB_PROCESS_EXIT_H

// From here on the end of the process is noted before the library's destructor functions run. Called by what makes
// something to release, for the thread that holds the opening lock. Calling it at the first use and not when the
// library is loaded is what gives that order: exit() undoes what was registered last first, and the libraries that a
// program is linked with are loaded before the system registers their destructor functions.
void hb_watch_exit();

// For destructor functions: true at the end of the process, false when dlclose() unloads the library.
bool hb_process_ends();

#endif
