// SPDX-License-Identifier: Apache-2.0
// Ends the process when a call of the library waits beyond a deadline.
#pragma once

#include <string>
#include <unistd.h>

#include "tools/hbctl/waiting.h"

namespace hbctl {

// How the process ends inside a call.
struct Ending {
    std::string line; // empty: prints nothing
    int status = 1;
    int descriptor = STDERR_FILENO;
};

// From the deadline on, the process ends as soon as it is inside a Library_Call. Only one object may exist at a time.
class Time_Limit {
  public:
    Time_Limit(const Deadline &deadline, const Ending &ending);
    ~Time_Limit();
    Time_Limit(const Time_Limit &) = delete;
    Time_Limit &operator=(const Time_Limit &) = delete;
};

} // namespace hbctl
