// What came from elsewhere, made fit for a terminal: names, errors, keys of a file and states can hold bytes that move
// the cursor, change what is on the screen, or show text in another order than it has. Every program prints such texts
// through here.
#pragma once

#include <string>
#include <string_view>

namespace terminal {

// The text with each byte of the following as \xNN, two upper-case digits: C0 controls (also tabs and ends of lines),
// DEL, C1 controls, bidirectional controls, and what is no UTF-8. Everything else stays as it is.
std::string printable(std::string_view text);

// The same line by line: ends of lines stay.
std::string printable_lines(std::string_view text);

// The same for JSON, which stays the same value: DEL, C1 and bidirectional controls become \uNNNN. The text is valid
// JSON in UTF-8, so that they stand in strings alone and C0 controls are layout.
std::string printable_json(std::string_view json);

} // namespace terminal
