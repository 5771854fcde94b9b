// First-failure identifiers.
#pragma once

#include <string>

namespace wispd {

// A new one; empty, with a line in the log, when none can be made.
std::string make_failure_id();

} // namespace wispd
