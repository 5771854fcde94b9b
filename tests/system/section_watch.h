// SPDX-License-Identifier: Apache-2.0
// Watches this program's calls of semtimedop. The library enters and leaves the route segment with it.
#pragma once

#include <functional>

namespace hb_test {

// Called once, at the next entry, between entering and reading.
void on_entering(std::function<void()> action);
// Called at the first call that a signal ends.
void on_interruption(std::function<void()> action);

} // namespace hb_test
