// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/user_quotas.h"

#include <algorithm>

#include "host/text.h"

namespace wispd {

std::string User_Quotas::why_no_connection(uid_t user) const {
    if (!is_unlimited(user) && held_by(user).connections >= limits_.connections) {
        return text("its user has ", held_by(user).connections, " connections, the limit (user_connections)");
    }
    const std::size_t kept = is_unlimited(user) ? 0 : std::min(RESERVED, limits_.all_connections);
    if (connections_ >= limits_.all_connections - kept) {
        return text(connections_, " connections are open, max_connections = ", limits_.all_connections,
                    kept > 0 ? ", and the rest is reserved for root" : "");
    }
    return {};
}

bool User_Quotas::may_subscribe(uid_t user) const {
    return is_unlimited(user) || held_by(user).subscriptions < limits_.subscriptions;
}

bool User_Quotas::may_queue(uid_t user, std::size_t bytes) const {
    const std::size_t held = held_by(user).queued_bytes;
    return is_unlimited(user) || (bytes <= limits_.queue_bytes && held <= limits_.queue_bytes - bytes);
}

void User_Quotas::connected(uid_t user) {
    ++connections_;
    ++holdings_[user].connections;
}

void User_Quotas::disconnected(uid_t user, std::size_t subscriptions) {
    unsubscribed(user, subscriptions);
    --connections_;
    const auto held = holdings_.find(user);
    if (--held->second.connections == 0) {
        holdings_.erase(held);
    }
}

void User_Quotas::subscribed(uid_t user) {
    ++holdings_[user].subscriptions;
}

void User_Quotas::unsubscribed(uid_t user, std::size_t subscriptions) {
    holdings_[user].subscriptions -= subscriptions;
}

void User_Quotas::queued(uid_t user, std::size_t before, std::size_t after) {
    holdings_[user].queued_bytes +=
        after - before; // unsigned arithmetic is also correct when the queue shrinks
}

User_Holding User_Quotas::held_by(uid_t user) const {
    const auto held = holdings_.find(user);
    return held == holdings_.end() ? User_Holding{} : held->second;
}

} // namespace wispd
