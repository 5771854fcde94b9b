// SPDX-License-Identifier: Apache-2.0
// Prepares a process before it opens or creates any file.
#pragma once

namespace wispd {

// Opens descriptors 0 to 2 if they are closed, so that no file of the daemon gets such a number. Makes files
// readable by others whatever the umask, unless they have their own mode. Keeps memory, with its keys, out of
// core files and from other processes of the user, except under a debugger.
void prepare_process();

} // namespace wispd
