// SPDX-License-Identifier: Apache-2.0
// Waits for whichever comes first: the daemon, the user's request to stop, the deadline, or the loss of
// standard output's reader.
#pragma once

#include <chrono>
#include <optional>
#include <vector>

namespace hbctl {

using Deadline = std::optional<std::chrono::steady_clock::time_point>; // none: no limit

// Returns now + limit, also when that is beyond the clock's range.
Deadline deadline_after(std::chrono::milliseconds limit);

bool is_over(const Deadline &deadline);

enum class Wake { ready, stopped, output_closed, time_over };

// When it returns ready, `ready` holds the descriptors that are ready, followed by -1. stop_descriptor may be
// -1.
Wake wait_for(const std::vector<int> &descriptors, int stop_descriptor, const Deadline &deadline,
              std::vector<int> &ready);

} // namespace hbctl
