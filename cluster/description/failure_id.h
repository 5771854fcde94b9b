// First-failure identifiers.
#ifndef WISPD_FAILURE_ID_H
#define WISPD_FAILURE_ID_H

#include <string>

namespace wispd {

// A new one; empty, with a line in the log, when none can be made.
std::string make_failure_id();

} // namespace wispd

#endif
