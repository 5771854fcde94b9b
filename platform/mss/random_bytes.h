// SPDX-License-Identifier: Apache-2.0
// Reads random bytes from the kernel.
#pragma once

#include <span>

// Fills the span from the kernel's random source. Returns false on an error; the span may then be partly
// filled.
bool fill_with_random_bytes(std::span<unsigned char> out);
