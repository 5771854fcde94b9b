// Waiting for whichever comes first: the daemon, the user's wish to stop, the end of the time, or standard
// output losing its reader.
#pragma once

#include <chrono>
#include <optional>
#include <vector>

namespace hbctl {

using Deadline = std::optional<std::chrono::steady_clock::time_point>; // none: no limit

// now + limit, also when that is beyond what the clock can tell.
Deadline deadline_after(std::chrono::milliseconds limit);

enum class Wake { ready, stopped, output_closed, time_over };

// On ready, `ready` holds the descriptors that are, followed by -1. stop_descriptor may be -1.
Wake wait_for(const std::vector<int> &descriptors, int stop_descriptor, const Deadline &deadline,
              std::vector<int> &ready);

} // namespace hbctl
