// SPDX-License-Identifier: Apache-2.0
// What standard output can show: its width and colours.
#pragma once

#include <cstddef>

#include "tools/hbctl/arguments.h"
#include "tools/hbctl/text_table.h"

namespace hbctl {

// Returns the columns of the terminal that standard output is: COLUMNS, or else what the terminal reports. 0 if it is no
// terminal, or if the terminal does not report its width: then nothing is cut.
std::size_t terminal_width();

// Returns whether standard output is a terminal with colours, and the user wants them (NO_COLOR is unset or empty).
bool has_colours();

// The style of a table on standard output.
Table_Style table_style(const Arguments &arguments);

} // namespace hbctl
