// What one subscription of a client asks for, read from the record that it sent.
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
    std::vector<uint8_t> members; // bitmap, the most significant bit first; trailing zero bytes left out
};

// Empty when the body is no subscription; `fault` then says why.
std::optional<Subscription> read_subscription(std::span<const char> body, std::string &fault);

// The name in an unsubscribe request, cut at its field's size.
std::string read_name(std::span<const char> body);

bool is_about_nodes(const Subscription &subscription);
bool is_about_adapters(const Subscription &subscription);
// "All" covers members that are configured later as well.
bool covers_all(const Subscription &subscription);
bool covers(const Subscription &subscription, uint32_t number);

std::vector<Adapter_Member> covered(const Subscription &subscription, std::span<const Adapter_Member> members);
std::vector<Hb_Node_Number> covered(const Subscription &subscription, std::span<const Hb_Node_Number> members);

} // namespace wispd
