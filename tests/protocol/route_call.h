// SPDX-License-Identifier: Apache-2.0
// The caller's side of the three calls that return a route. The outputs are filled with a mark before the call.
#pragma once

#include "hb_client.h"
#include "tests/support/bytes.h"

namespace hb_test {

using Route_Entry = Hb_Rc (*)(Hb_Node_Number, Hb_Route *, uint16_t *);

struct Route_Call {
    static constexpr unsigned NO_LENGTH = 0x5A5A;

    Route_Call(Route_Entry entry, int node);

    bool untouched() const; // nothing was written

    Hb_Rc result;
    int error; // 0 if none was set
    unsigned length;
    Bytes route; // 176 bytes
};

// Checks error 4 for each of the two outputs when it is null.
int error_without_answers(Route_Entry entry, int node, bool route_given, bool length_given);

} // namespace hb_test
