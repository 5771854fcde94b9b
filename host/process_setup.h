// What a process has to be like before it opens or makes anything.
#pragma once

namespace wispd {

// Opens the descriptors 0 to 2 where they are closed, so that no file of the daemon's gets their numbers; makes files
// readable by others whatever the caller's umask, unless they have a mode of their own; and keeps the process's memory,
// with its keys, from core files and from other processes of the same user, unless a debugger runs it.
void prepare_process();

} // namespace wispd
