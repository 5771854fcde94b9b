// SPDX-License-Identifier: Apache-2.0
// A client's subscription, decoded from its request record.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "cluster/cluster.h"

namespace wispd {

struct Subscription {
    Hb_Subscription_Type type = Hb_Empty_Subscription;
    Hb_Events events = 0;
    std::string name;
    // Bitmap, most significant bit first; trailing zero bytes are omitted.
    std::vector<uint8_t> members;
};

// Decodes a subscription request. Returns nothing if the body is invalid; `fault` then states the reason.
std::optional<Subscription> read_subscription(std::span<const char> body, std::string &fault);

// Returns the name in an unsubscribe request, limited to the size of its field.
std::string read_name(std::span<const char> body);

bool is_about_nodes(const Subscription &subscription);
bool is_about_adapters(const Subscription &subscription);
// Returns true if the subscription covers all members, including members that are configured later.
bool covers_all(const Subscription &subscription);
bool covers(const Subscription &subscription, uint32_t number);

std::vector<Adapter_Member> covered(const Subscription &subscription, std::span<const Adapter_Member> members);
std::vector<Hb_Node_Number> covered(const Subscription &subscription, std::span<const Hb_Node_Number> members);

} // namespace wispd
