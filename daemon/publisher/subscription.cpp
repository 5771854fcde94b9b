// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/subscription.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "host/text.h"
#include "lib/wire/hb_wire.h"

namespace wispd {

namespace {

constexpr Hb_Events KNOWN_EVENTS = 0x377;
constexpr std::size_t BITMAP_OFFSET =
    offsetof(Hb_Subscription_Group, Hb_subscription_grp_union.Hb_adapter_subscription_grp.Hb_adapter_list);

int32_t int_at(std::span<const char> body, std::size_t offset) {
    int32_t value;
    std::memcpy(&value, body.data() + offset, sizeof value);
    return value;
}

// Returns the number of bitmap bytes that the type uses.
std::size_t bitmap_size(Hb_Subscription_Type type) {
    switch (type) {
    case Hb_Node_Subscription:
        return HB_NODE_BITMAP_SIZE;
    case Hb_Adapter_Subscription:
    case Hb_Network_Subscription:
        return HB_ADAPTER_BITMAP_SIZE;
    case Hb_Site_Subscription:
        return HB_SITE_BITMAP_SIZE;
    default:
        return 0;
    }
}

template <typename Member, typename Number>
std::vector<Member> filter(const Subscription &subscription, std::span<const Member> members,
                           Number number_of) {
    std::vector<Member> found;
    for (const Member &member : members) {
        if (covers(subscription, number_of(member))) {
            found.push_back(member);
        }
    }
    return found;
}

} // namespace

std::optional<Subscription> read_subscription(std::span<const char> body, std::string &fault) {
    if (body.size() != sizeof(Hb_Subscription_Group)) {
        fault = text("a subscription of ", body.size(), " bytes; expected ", sizeof(Hb_Subscription_Group));
        return std::nullopt;
    }
    Subscription subscription;
    subscription.type = int_at(body, offsetof(Hb_Subscription_Group, Hb_subscription_type));
    subscription.events = int_at(body, offsetof(Hb_Subscription_Group, Hb_events));
    subscription.name = read_name(body.subspan(offsetof(Hb_Subscription_Group, Hb_name), HB_NAME_SIZE));
    if (subscription.type == Hb_Empty_Subscription) {
        fault = text("an empty subscription \"", subscription.name, "\"");
        return std::nullopt;
    }
    if (subscription.type < Hb_Node_Subscription || subscription.type > Hb_All_Sites_Subscription) {
        fault = text("a subscription of unknown type ", subscription.type);
        return std::nullopt;
    }
    if (subscription.events == 0 || (subscription.events & ~KNOWN_EVENTS) != 0) {
        fault = text("a subscription with event mask ", subscription.events);
        return std::nullopt;
    }
    const std::size_t size = bitmap_size(subscription.type);
    const auto bitmap = body.subspan(BITMAP_OFFSET, size);
    subscription.members.assign(bitmap.begin(), bitmap.end());
    while (!subscription.members.empty() && subscription.members.back() == 0) {
        subscription.members.pop_back();
    }
    subscription.members.shrink_to_fit();
    return subscription;
}

std::string read_name(std::span<const char> body) {
    const std::size_t longest = std::min<std::size_t>(body.size(), HB_NAME_SIZE - 1);
    const auto end = body.begin() + static_cast<std::ptrdiff_t>(longest);
    return std::string(body.begin(), std::find(body.begin(), end, '\0'));
}

bool is_about_nodes(const Subscription &subscription) {
    return subscription.type == Hb_Node_Subscription || subscription.type == Hb_All_Nodes_Subscription;
}

bool is_about_adapters(const Subscription &subscription) {
    return subscription.type == Hb_Adapter_Subscription || subscription.type == Hb_All_Adapters_Subscription ||
           subscription.type == Hb_Network_Subscription;
}

bool covers_all(const Subscription &subscription) {
    return subscription.type == Hb_All_Nodes_Subscription || subscription.type == Hb_All_Adapters_Subscription;
}

bool covers(const Subscription &subscription, uint32_t number) {
    if (covers_all(subscription)) {
        return true;
    }
    const std::size_t byte = number / 8;
    return byte < subscription.members.size() && (subscription.members[byte] & (0x80u >> (number % 8))) != 0;
}

std::vector<Adapter_Member> covered(const Subscription &subscription, std::span<const Adapter_Member> members) {
    return filter(subscription, members, [](const Adapter_Member &member) { return member.number; });
}

std::vector<Hb_Node_Number> covered(const Subscription &subscription, std::span<const Hb_Node_Number> members) {
    return filter(subscription, members, [](Hb_Node_Number member) { return static_cast<uint32_t>(member); });
}

} // namespace wispd
