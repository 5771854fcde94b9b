// SPDX-License-Identifier: Apache-2.0
// Builds a record byte by byte.
#pragma once

#include <cstring>
#include <vector>

template <typename Part> void append_bytes(std::vector<char> &record, const Part &part) {
    const std::size_t end = record.size();
    record.resize(end + sizeof part);
    std::memcpy(record.data() + end, &part, sizeof part);
}
