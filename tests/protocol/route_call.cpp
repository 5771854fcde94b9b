// SPDX-License-Identifier: Apache-2.0
#include "tests/protocol/route_call.h"

#include <cstring>

#include "lib/base/error_number.h"
#include "tests/protocol/client.h"

namespace hb_test {

Route_Call::Route_Call(Route_Entry entry, int node) {
    Hb_Route given;
    std::memset(&given, UNTOUCHED, sizeof given);
    uint16_t hops = NO_LENGTH;
    set_hb_errno(0);
    result = entry(static_cast<Hb_Node_Number>(node), &given, &hops);
    error = hb_get_errno();
    length = hops;
    route = bytes_of(given);
}

bool Route_Call::untouched() const {
    return length == NO_LENGTH && route == Bytes().fill(176, UNTOUCHED);
}

int error_without_answers(Route_Entry entry, int node, bool route_given, bool length_given) {
    Hb_Route route;
    uint16_t length = 0;
    set_hb_errno(0);
    const Hb_Rc result = entry(static_cast<Hb_Node_Number>(node), route_given ? &route : nullptr,
                               length_given ? &length : nullptr);
    return result == Hb_Success ? 0 : hb_get_errno();
}

} // namespace hb_test
