// The caller's side of the three calls that give a route, the answers filled with a mark beforehand.
#ifndef HB_TEST_ROUTE_CALL_H
#define HB_TEST_ROUTE_CALL_H

#include "hb_client.h"
#include "tests/support/bytes.h"

namespace hb_test {

using RouteEntry = Hb_Rc (*)(Hb_Node_Number, Hb_Route *, uint16_t *);

struct RouteCall {
    static constexpr unsigned NO_LENGTH = 0x5A5A;

    RouteCall(RouteEntry entry, int node);

    bool untouched() const; // nothing was written

    Hb_Rc result;
    int error; // 0 when none was set
    unsigned length;
    Bytes route; // 176 bytes
};

// Error 4 for each of the two answers that may be missing, and 0 for neither.
int error_without_answers(RouteEntry entry, int node, bool route_given, bool length_given);

} // namespace hb_test

#endif
