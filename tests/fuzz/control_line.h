// SPDX-License-Identifier: Apache-2.0
// Parses any bytes as a line of the control socket, and compares the command with what a tree of the same line means.
#pragma once

#include <cstddef>
#include <cstdint>

// The entry for libFuzzer and the seed test. Always returns 0; a difference aborts.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size);
