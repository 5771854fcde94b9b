#pragma once

#include <span>

// Fills the span from the kernel's random source. False when that gives an error; the span may then be filled
// in part.
bool fill_with_random_bytes(std::span<unsigned char> out);
