// SPDX-License-Identifier: Apache-2.0
// hb/event_mask.hpp - hb::event_mask: the kinds of events that a subscription is for
#ifndef HB_EVENT_MASK_HPP
#define HB_EVENT_MASK_HPP

#include <cstdint>

#include "hb_client.h"

namespace hb {

// A set of kinds. Join them with |. A mask of exactly site_split | site_merge subscribes to the events of the sites, and
// one of exactly different_instance to messages from other configurations, whatever members the subscription has.
//
// Two kinds of event need no subscription and have no bit: a new configuration, and the identifier of a failure.
enum class event_mask : std::int32_t {
    none = 0,
    death = HB_EVENT_DEATH,
    join = HB_EVENT_JOIN,
    group = HB_EVENT_NEW_GROUP, // once after subscribing: all members that are up
    site_split = HB_EVENT_SITE_SPLIT,
    site_merge = HB_EVENT_SITE_MERGE,
    different_instance = HB_EVENT_DIFF_INSTANCE,
    heartbeat = HB_EVENT_HEARTBEAT
};

constexpr event_mask operator|(event_mask left, event_mask right) noexcept {
    return static_cast<event_mask>(static_cast<std::int32_t>(left) | static_cast<std::int32_t>(right));
}
constexpr event_mask operator&(event_mask left, event_mask right) noexcept {
    return static_cast<event_mask>(static_cast<std::int32_t>(left) & static_cast<std::int32_t>(right));
}
constexpr event_mask &operator|=(event_mask &left, event_mask right) noexcept {
    return left = left | right;
}

// Returns whether the mask has at least one of the kinds.
constexpr bool has_any(event_mask mask, event_mask kinds) noexcept {
    return (mask & kinds) != event_mask::none;
}

} // namespace hb

#endif
