// SPDX-License-Identifier: Apache-2.0
// `hbctl top` on a terminal.
#pragma once

#include "tools/hbctl/arguments.h"

namespace hbctl {

// Returns the exit status. Throws std::runtime_error, also where this hbctl was built without ncurses.
int top_on_screen(const Arguments &arguments);

} // namespace hbctl
