// SPDX-License-Identifier: Apache-2.0
// Passes one record, as a daemon might send it, through every decoder and then into the tables.
#pragma once

#include <cstddef>
#include <cstdint>

// The entry for libFuzzer and the seed test. Always returns 0; a fault appears as a sanitizer's report or an
// abort.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size);
