// SPDX-License-Identifier: Apache-2.0
// Notices when the times that are shown belong to another day.
#pragma once

#include <optional>
#include <string>

#include "tools/hbctl/plain_text.h"

namespace hbctl {

class Day_Change {
  public:
    // Returns the date at this time, and continues from there.
    std::string begin(Wall_Time time) { return day_ = date_text(time); }

    // Returns the date if it is not that of the previous time; nothing before begin().
    std::optional<std::string> next(Wall_Time time) {
        const std::string day = date_text(time);
        if (day_.empty() || day == day_) {
            return std::nullopt;
        }
        return day_ = day;
    }

  private:
    std::string day_;
};

} // namespace hbctl
