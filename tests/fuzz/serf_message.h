// SPDX-License-Identifier: Apache-2.0
// Decodes any bytes as what a Serf agent sends, at once and in pieces, and compares the results.
#pragma once

#include <cstddef>
#include <cstdint>

// The entry for libFuzzer and the seed test: four bytes are the sizes of the pieces, in turn; the stream follows. Always
// returns 0; a difference aborts.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size);
