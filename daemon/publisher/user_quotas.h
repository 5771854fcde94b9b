// SPDX-License-Identifier: Apache-2.0
// Counts what the clients of each user hold and enforces the limits. A user at its limit does not affect other
// users.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <sys/types.h>

#include "daemon/publisher/user_time.h"
#include "daemon/user_limits.h"
#include "host/trusted_user.h"

namespace wispd {

struct User_Holding {
    std::size_t connections = 0;
    std::size_t subscriptions = 0;
    std::size_t queued_bytes = 0;

    bool operator==(const User_Holding &) const = default;
};

class User_Quotas {
  public:
    // Connections reserved for root and the daemon's own user.
    static constexpr std::size_t RESERVED = 16;

    // The limits for one user do not apply to root and `own`. The limit of all connections applies to every
    // user.
    User_Quotas(const User_Limits &limits, uid_t own) : limits_(limits), own_(own), time_(own) {}

    // Sets new limits. Resources above a lower limit stay until they are released.
    void set(const User_Limits &limits) { limits_ = limits; }

    // Returns an empty string if the user may have one more connection, or else the reason for the rejection.
    std::string why_no_connection(uid_t user) const;
    bool may_subscribe(uid_t user) const;
    bool may_queue(uid_t user, std::size_t bytes) const;

    void connected(uid_t user);
    // `subscriptions` is the number that the connection held.
    void disconnected(uid_t user, std::size_t subscriptions);
    void subscribed(uid_t user);
    void unsubscribed(uid_t user, std::size_t subscriptions);
    // Records that the bytes queued for one of the user's clients changed from `before` to `after`.
    void queued(uid_t user, std::size_t before, std::size_t after);

    User_Time &time() { return time_; }
    const User_Limits &limits() const { return limits_; }
    User_Holding held_by(uid_t user) const;
    // Returns the holdings of each user with a connection.
    const std::map<uid_t, User_Holding> &holdings() const { return holdings_; }

  private:
    bool is_unlimited(uid_t user) const { return is_trusted_user(user, own_); }

    User_Limits limits_;
    uid_t own_;
    User_Time time_;
    std::size_t connections_ = 0;
    std::map<uid_t, User_Holding> holdings_;
};

} // namespace wispd
