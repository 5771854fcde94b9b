// Which shared segments there are, and what becomes of each at the end of its daemon.
#pragma once

#include <cstddef>

#include "lib/wire/hb_wire.h"

namespace wispd {

// Places in the arrays of keys and segments.
inline constexpr std::size_t CONFIGURATION_SEGMENT = 0;
inline constexpr std::size_t ROUTE_SEGMENT = 1;
inline constexpr std::size_t SECURITY_SEGMENT = 2;
inline constexpr std::size_t SEGMENTS = 3;

// The routes have a record for every node number there can be. A cluster that grows needs no other segment, and its
// open clients lose no route.
std::size_t segment_size(std::size_t which);

// Whether some version of wispd makes the segment in that size.
bool is_plausible_size(std::size_t which, std::size_t size);

// A process that keeps the segment attached when its daemon has ended keeps no keys with it, and no route that is
// valid.
void invalidate_segment(std::size_t which, void *address);

} // namespace wispd
