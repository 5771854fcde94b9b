// SPDX-License-Identifier: Apache-2.0
// The heartbeat settings of clients, in the words that all programs use.
#pragma once

#include <cstdint>
#include <string>

namespace common {

// "enabled, threshold 2.5 s"
std::string heartbeat_words(bool enabled, std::int64_t seconds, std::int64_t microseconds);

} // namespace common
