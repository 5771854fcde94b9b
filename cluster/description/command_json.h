// SPDX-License-Identifier: Apache-2.0
// Converts commands and their answers from and to lines of JSON.
#pragma once

#include <string>
#include <string_view>

#include "cluster/description/command.h"

namespace wispd {

// Parses a line such as {"do":"node-down","node":3}. Throws Command_Error.
Command parse_command_line(std::string_view line);

// Describes a line for the log, such as "node-down node=3". Long lines are cut.
std::string command_description(std::string_view line);

// Returns {"ok":true} or {"ok":false,"error":"..."}, without the line end.
std::string ok_line();
std::string error_line(std::string_view error);

} // namespace wispd
