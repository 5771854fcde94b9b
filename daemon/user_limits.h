// SPDX-License-Identifier: Apache-2.0
// Limits what one user may hold with all its connections, and what all users may hold together.
#pragma once

#include <cstddef>

namespace wispd {

struct User_Limits {
    // max_connections: for all users; the last are reserved for root and the daemon's own user
    std::size_t all_connections = 4096;
    std::size_t connections = 256;       // user_connections
    std::size_t subscriptions = 8192;    // user_subscriptions
    std::size_t queue_bytes = 268435456; // user_queue_bytes: bytes that wait for the user's clients

    bool operator==(const User_Limits &) const = default;
};

} // namespace wispd
