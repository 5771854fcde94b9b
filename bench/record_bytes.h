// Builds a record byte by byte.
#ifndef BENCH_RECORD_BYTES_H
#define BENCH_RECORD_BYTES_H

#include <cstring>
#include <vector>

template <typename Part> void append_bytes(std::vector<char> &record, const Part &part) {
    const std::size_t end = record.size();
    record.resize(end + sizeof part);
    std::memcpy(record.data() + end, &part, sizeof part);
}

#endif
