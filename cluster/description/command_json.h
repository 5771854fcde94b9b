// Commands and answers as lines of JSON.
#pragma once

#include <string>
#include <string_view>

#include "cluster/description/command.h"

namespace wispd {

// {"do":"node-down","node":3}. Throws Command_Error.
Command parse_command_line(std::string_view line);

// {"ok":true} and {"ok":false,"error":"..."}, without the line's end.
std::string ok_line();
std::string error_line(std::string_view error);

} // namespace wispd
