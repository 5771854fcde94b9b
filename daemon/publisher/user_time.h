// SPDX-License-Identifier: Apache-2.0
// Divides the time of the daemon's single thread between users. A user that sends requests without pause leaves
// most of the time to others.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <sys/types.h>

#include "host/trusted_user.h"

namespace wispd {

// Grants the requests of each user, from all its clients, a fifth of the time. It also limits the time used in
// one burst. Root and the daemon's own user are not limited.
class User_Time {
  public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds AT_ONCE{50};
    static constexpr int SHARE = 5;

    explicit User_Time(uid_t own, std::function<Clock::time_point()> clock = Clock::now)
        : own_(own), clock_(std::move(clock)) {}

    // Records that the user's requests used this much time.
    void spent(uid_t user, Clock::duration time);
    // Returns the delay before the user's next request; zero: no delay.
    Clock::duration wait(uid_t user);

  private:
    struct Account {
        Clock::duration owed{0};
        Clock::time_point at;
    };
    Account &account_of(uid_t user);
    bool is_unlimited(uid_t user) const { return is_trusted_user(user, own_); }

    uid_t own_;
    std::function<Clock::time_point()> clock_;
    std::map<uid_t, Account> accounts_;
};

} // namespace wispd
