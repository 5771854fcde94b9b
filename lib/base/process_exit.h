// Whether the process is ending. Then another thread may still be inside the library, which must release nothing.
#ifndef HB_PROCESS_EXIT_H
#define HB_PROCESS_EXIT_H

// From here on the end of the process is noted before the library's destructor functions run: exit() undoes what was
// registered last first. The library calls it when dlopen() loads it. What makes something to release calls it too, for
// the thread that holds the opening lock: a plug-in that another library loads before main() starts is registered
// too early at its loading.
void hb_watch_exit();

// For destructor functions: false when dlclose() unloads the library, true at the end of the process. Always true
// where the library is part of the program from its start, because such a library is never unloaded.
bool hb_process_ends();

#endif
