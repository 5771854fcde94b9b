// Shares the time of the daemon's one thread: a user that asks without end leaves most of it to others.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <sys/types.h>

#include "host/trusted_user.h"

namespace wispd {

// The requests of each user get a fifth of the time, all its clients together, and at most so much of it at once. Root
// and the daemon's own user get what they ask for.
class User_Time {
  public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds AT_ONCE{50};
    static constexpr int SHARE = 5;

    explicit User_Time(uid_t own, std::function<Clock::time_point()> clock = Clock::now)
        : own_(own), clock_(std::move(clock)) {}

    // The user's requests took so long.
    void spent(uid_t user, Clock::duration time);
    // How long its next request has to wait; zero: not at all.
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
