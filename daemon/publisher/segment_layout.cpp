// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/segment_layout.h"

#include "daemon/publisher/security_record.h"
#include "daemon/publisher/shared_word.h"

namespace wispd {

std::size_t segment_size(std::size_t which) {
    switch (which) {
    case CONFIGURATION_SEGMENT:
        return sizeof(Hb_memory_configuration_data);
    case ROUTE_SEGMENT:
        return HB_NODE_SLOTS * sizeof(Hb_route_sequence);
    default:
        return sizeof(Hb_security_information);
    }
}

bool is_plausible_size(std::size_t which, std::size_t size) {
    // Earlier versions created the route segment for fewer nodes.
    return which == ROUTE_SEGMENT ? size % sizeof(Hb_route_sequence) == 0 : size == segment_size(which);
}

void invalidate_segment(std::size_t which, void *address) {
    if (which == CONFIGURATION_SEGMENT) {
        put_word(static_cast<Hb_memory_configuration_data *>(address)->sequence_number, Hb_Sequence_Number{0});
    } else if (which == SECURITY_SEGMENT) {
        clear_security(*static_cast<Hb_security_information *>(address));
    }
}

} // namespace wispd
