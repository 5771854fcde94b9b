// SPDX-License-Identifier: Apache-2.0
#include "common/heartbeat_words.h"

#include <cstdio>

namespace common {

std::string heartbeat_words(bool enabled, std::int64_t seconds, std::int64_t microseconds) {
    char text[48];
    std::snprintf(text, sizeof text, "%lld.%06lld", static_cast<long long>(seconds),
                  static_cast<long long>(microseconds));
    std::string threshold = text;
    threshold.erase(threshold.find_last_not_of('0') + 1);
    if (threshold.back() == '.') {
        threshold.pop_back();
    }
    return std::string(enabled ? "enabled" : "disabled") + ", threshold " + threshold + " s";
}

} // namespace common
