// SPDX-License-Identifier: Apache-2.0
// Makes text from outside safe to print. Names, errors, keys of a file and states can contain bytes that move
// the cursor, overwrite the screen, or reorder what a person reads. Every program prints such text through
// these functions.
#pragma once

#include <string>
#include <string_view>

namespace terminal {

// Returns the text with unsafe bytes as \xNN, two upper-case digits. Unsafe are C0 controls (also tabs and line
// ends), DEL, C1 controls, bidirectional controls, and invalid UTF-8.
std::string printable(std::string_view text);

// Replaces unsafe bytes as printable() does, but keeps the line ends.
std::string printable_lines(std::string_view text);

// Returns UTF-8 JSON in printable form with the same value: DEL, C1 and bidirectional controls become \uNNNN.
// Only strings can contain these controls. C0 controls are layout and stay.
std::string printable_json(std::string_view json);

} // namespace terminal
