// SPDX-License-Identifier: Apache-2.0
// hb/numbers.hpp - the numbers and states of nodes, adapters, networks and sites
#ifndef HB_NUMBERS_HPP
#define HB_NUMBERS_HPP

#include <cstdint>
#include <limits>

#include "hb_client.h"

namespace hb {

using node_number = Hb_Node_Number;       // 0 to 2048
using adapter_number = Hb_Adapter_Number; // node number x adapters per node + network number
using network_number = Hb_Network_Number; // 0 to 47
using site_number = Hb_Site_Number;

// The state of a node, an adapter or a site. Another value of the daemon is passed on unchanged.
enum class entity_state : std::int32_t {
    undefined = Hb_Entity_Undef, // not configured, or nothing is known
    up = Hb_Entity_Up,
    down = Hb_Entity_Down
};

namespace detail {

// Returns whether any integer can be such a number. A conversion alone would make 65537 node 1.
template <class Number, class Integer> constexpr bool fits(Integer value) noexcept {
    const auto wide = static_cast<long long>(value);
    return wide >= 0 && wide <= static_cast<long long>(std::numeric_limits<Number>::max());
}

} // namespace detail
} // namespace hb

#endif
