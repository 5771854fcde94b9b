// SPDX-License-Identifier: Apache-2.0
// Detects that the process is ending. Another thread may then still be inside the library, which must release
// nothing.
#pragma once

// Registers a note of the process's end that runs before the library's destructor functions: exit() undoes
// the last registration first. The library calls this when dlopen() loads it. The thread that holds the
// opening lock calls it again before it makes anything to release. A plug-in that another library loads
// before main() would otherwise be registered too early.
void hb_watch_exit();

// For destructor functions: false when dlclose() unloads the library, true at the end of the process. A
// library that is part of the program from its start is never unloaded, so it always returns true.
bool hb_process_ends();
