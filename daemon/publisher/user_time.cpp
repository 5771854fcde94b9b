// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/user_time.h"

#include <algorithm>

namespace wispd {

// The debt of a user decreases as time passes.
User_Time::Account &User_Time::account_of(uid_t user) {
    const Clock::time_point now = clock_();
    Account &account = accounts_.try_emplace(user, Account{{}, now}).first->second;
    account.owed = std::max(Clock::duration::zero(), account.owed - (now - account.at) / SHARE);
    account.at = now;
    return account;
}

void User_Time::spent(uid_t user, Clock::duration time) {
    if (!is_unlimited(user)) {
        account_of(user).owed += time;
    }
}

User_Time::Clock::duration User_Time::wait(uid_t user) {
    if (is_unlimited(user) || !accounts_.contains(user)) {
        return Clock::duration::zero();
    }
    const Clock::duration owed = account_of(user).owed;
    if (owed == Clock::duration::zero()) {
        accounts_.erase(user);
    }
    return owed < AT_ONCE ? Clock::duration::zero() : (owed - AT_ONCE / 2) * SHARE;
}

} // namespace wispd
