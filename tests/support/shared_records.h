// SPDX-License-Identifier: Apache-2.0
// The contents of the route and security segments as the daemon writes them, built byte by byte.
#pragma once

#include <array>
#include <vector>

#include "tests/support/bytes.h"

namespace hb_test {

// ---- The route segment: one record of 184 bytes for each node slot ----

// The hops of a route, 176 bytes; omitted hops are zero. A hop has 16 bytes.
Bytes hops(const std::vector<Bytes> &addresses);
Bytes route_record(int64_t sequence, unsigned length, unsigned nonip, const Bytes &hops);

// ---- The security segment ----

// A slot for a marshalled key, 260 bytes. The length may contradict the bytes.
Bytes key_slot(int64_t length, const Bytes &bytes);
Bytes key_slot(const Bytes &form);
Bytes empty_slot();

struct Status_Facts {
    std::array<int64_t, 5> words{}; // security on, key count, KLOM, signing, authenticating
    Bytes key = empty_slot();
};
struct Security_Facts {
    int64_t sequence = 1;
    Status_Facts previous;
    Status_Facts current;
    std::vector<Bytes> cache; // slots; omitted ones are empty
    int64_t cache_count = 0;
};
// The whole segment, 3168 bytes.
Bytes security(const Security_Facts &facts);

} // namespace hb_test
