// SPDX-License-Identifier: Apache-2.0
// The maximum lengths of texts in files and commands, in bytes.
#pragma once

#include <cstddef>

#include "lib/wire/hb_wire.h"

namespace wispd {

inline constexpr std::size_t NAME_LONGEST = 255;
inline constexpr std::size_t PATH_LONGEST = 4095;
inline constexpr std::size_t NETWORK_NAME_LONGEST = HB_NETWORK_NAME_SIZE - 1;

} // namespace wispd
