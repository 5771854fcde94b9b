// SPDX-License-Identifier: Apache-2.0
// The pauses between attempts to reach the daemon.
#pragma once

#include <algorithm>
#include <chrono>
#include <utility>

namespace hbctl {

// Each pause is twice as long as the one before, up to two seconds.
class Retry_Pause {
  public:
    std::chrono::milliseconds next() { return std::exchange(pause_, std::min(2 * pause_, LONGEST)); }

  private:
    static constexpr std::chrono::milliseconds FIRST{100};
    static constexpr std::chrono::milliseconds LONGEST{2000};

    std::chrono::milliseconds pause_ = FIRST;
};

} // namespace hbctl
