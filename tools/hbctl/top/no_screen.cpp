// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>

#include "tools/hbctl/top/top_screen.h"

namespace hbctl {

int top_on_screen(const Arguments &) {
    throw std::runtime_error(
        "this hbctl was built without ncurses: use 'hbctl top --once' for one frame as text, or "
        "'hbctl watch' for events");
}

} // namespace hbctl
