// SPDX-License-Identifier: Apache-2.0
// Calls the library within the time that the user grants.
#pragma once

#include "tools/hbctl/arguments.h"
#include "tools/hbctl/library_call.h"
#include "tools/hbctl/time_limit.h"

namespace hbctl {

// The line and the status of a command that the daemon does not answer.
Ending silence(const Arguments &arguments);

// Returns what `ask` returns. Ends the process if that takes too long. `ask` prints nothing on standard output: a
// reader that pauses is not a daemon that does not answer.
template <typename Ask> auto ask_daemon(const Arguments &arguments, const Ending &ending, Ask ask) {
    const Time_Limit limit(deadline_after(arguments.patience), ending);
    const Library_Call call;
    return ask();
}

template <typename Ask> auto ask_daemon(const Arguments &arguments, Ask ask) {
    return ask_daemon(arguments, silence(arguments), ask);
}

} // namespace hbctl
