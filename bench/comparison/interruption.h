// SPDX-License-Identifier: Apache-2.0
// Ctrl-C and SIGTERM end a benchmark in order: the daemons and clients that it started end, and remove what they made.
#pragma once

namespace comparison {

// From now on the two signals only set a mark.
void note_interruptions();
bool is_interrupted();

} // namespace comparison
