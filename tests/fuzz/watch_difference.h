// SPDX-License-Identifier: Apache-2.0
// Feeds a watch with what a daemon might send, and compares its reports with an interpretation of the same records by
// sets.
#pragma once

#include <cstddef>
#include <cstdint>

// The entry for libFuzzer and the seed test. Always returns 0; a difference aborts.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size);
