// SPDX-License-Identifier: Apache-2.0
// Counts what this process holds, so that a test can show that nothing grows.
#pragma once

#include <cstddef>

namespace hb_test {

int open_descriptors();
int segment_mappings(); // of shared segments
int running_threads();
std::size_t allocated_bytes(); // on the heap

} // namespace hb_test
