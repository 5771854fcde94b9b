// SPDX-License-Identifier: Apache-2.0
// What the tools print when wispd accepts a connection but does not answer.
#pragma once

#include <chrono>
#include <string>

namespace common {

// How long a command waits for wispd unless --timeout changes it.
inline constexpr std::chrono::seconds DEFAULT_PATIENCE{10};

// The argument of --timeout, to the nearest millisecond, and at least one.
std::chrono::milliseconds patience_of(double seconds);

// "10 s", "2.5 s"
std::string seconds_text(std::chrono::milliseconds time);

// "wispd does not answer at PATH (waited 10 s); ...", without the name of the program.
std::string no_answer_line(const std::string &path, std::chrono::milliseconds waited);

} // namespace common
