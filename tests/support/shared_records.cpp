// SPDX-License-Identifier: Apache-2.0
#include "tests/support/shared_records.h"

#include <stdexcept>

namespace hb_test {
namespace {

// Pads the bytes with zeros to this size.
Bytes filled(const Bytes &bytes, std::size_t size) {
    if (bytes.size() > size) {
        throw std::length_error("too many bytes for their field");
    }
    return Bytes(bytes).zeros(size - bytes.size());
}

Bytes status(const Status_Facts &facts) {
    Bytes bytes;
    for (const int64_t word : facts.words) {
        bytes.i32(word);
    }
    return bytes.add(filled(facts.key, 260));
}

} // namespace

Bytes hops(const std::vector<Bytes> &addresses) {
    Bytes bytes;
    for (const Bytes &address : addresses) {
        bytes.add(filled(address, 16));
    }
    return filled(bytes, 176);
}

Bytes route_record(int64_t sequence, unsigned length, unsigned nonip, const Bytes &hops) {
    Bytes record;
    record.i32(sequence);
    record.u8(length & 0xFFU).u8(length >> 8U).u8(nonip & 0xFFU).u8(nonip >> 8U);
    return record.add(filled(hops, 176));
}

Bytes key_slot(int64_t length, const Bytes &bytes) {
    return Bytes().i32(length).add(filled(bytes, 256));
}

Bytes key_slot(const Bytes &form) {
    return key_slot(static_cast<int64_t>(form.size()), form);
}

Bytes empty_slot() {
    return Bytes().zeros(260);
}

Bytes security(const Security_Facts &facts) {
    Bytes bytes;
    bytes.i32(facts.sequence).add(status(facts.previous)).add(status(facts.current));
    Bytes cache;
    for (const Bytes &slot : facts.cache) {
        cache.add(filled(slot, 260));
    }
    return bytes.add(filled(cache, 2600)).i32(facts.cache_count);
}

} // namespace hb_test
