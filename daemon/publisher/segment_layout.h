// SPDX-License-Identifier: Apache-2.0
// The layout of the shared segments, and how each becomes invalid when its daemon stops.
#pragma once

#include <cstddef>

#include "lib/wire/hb_wire.h"

namespace wispd {

// Indices in the arrays of keys and segments.
inline constexpr std::size_t CONFIGURATION_SEGMENT = 0;
inline constexpr std::size_t ROUTE_SEGMENT = 1;
inline constexpr std::size_t SECURITY_SEGMENT = 2;
inline constexpr std::size_t SEGMENTS = 3;

// Returns the size of a segment. The routes have a record for every possible node number. A growing cluster
// therefore needs no new segment, and connected clients lose no route.
std::size_t segment_size(std::size_t which);

// Returns true if any version of wispd creates the segment with that size.
bool is_plausible_size(std::size_t which, std::size_t size);

// Invalidates a segment before its removal. A process that keeps it attached then has no keys and no valid
// route.
void invalidate_segment(std::size_t which, void *address);

} // namespace wispd
