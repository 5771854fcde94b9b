// SPDX-License-Identifier: Apache-2.0
// One line on standard error.
#pragma once

#include <string>

namespace exporter {

// Prints "hb_exporter: <line>". Any thread may call it.
void log_line(const std::string &line);

} // namespace exporter
