// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/client_log.h"

#include "host/text.h"

namespace wispd {

void Client_Log::report_one(const Account &account, Spent &spent) {
    if (spent.suppressed > 0) {
        log_admitted(account.second,
                     text("uid ", account.first, ": suppressed ", spent.suppressed, " more lines"));
        spent.suppressed = 0;
    }
}

Client_Log::Spent &Client_Log::spent_in_this_period(const Account &account) {
    const Time now = clock_();
    const auto [place, is_new] = spent_.try_emplace(account, Spent{now});
    Spent &spent = place->second;
    if (now - spent.since >= PERIOD) {
        report_one(account, spent);
        spent = {now};
    }
    if (is_new) {
        std::erase_if(spent_, [&](const auto &entry) {
            return now - entry.second.since >= PERIOD && entry.second.suppressed == 0;
        });
    }
    return spent;
}

void Client_Log::put(uid_t user, Log_Level level, std::string_view line, const Log_Fields &fields) {
    if (admits(user, level)) {
        log_admitted(level, line, fields);
    }
}

bool Client_Log::admits(uid_t user, Log_Level level) {
    if (!is_logged(level)) {
        return false;
    }
    Spent &spent = spent_in_this_period({user, level});
    if (spent.lines < LINES) {
        ++spent.lines;
        return true;
    }
    if (++spent.suppressed == 1) {
        log_admitted(level, text("uid ", user, " caused ", LINES,
                                 " log lines within a minute; suppressing more until the minute ends"));
        on_suppression_();
    }
    return false;
}

bool Client_Log::report(bool all) {
    const Time now = clock_();
    bool left = false;
    for (auto &[account, spent] : spent_) {
        if (all || now - spent.since >= PERIOD) {
            report_one(account, spent);
        }
        left = left || spent.suppressed > 0;
    }
    return left;
}

Log_Charge::Log_Charge(Client_Log &log, uid_t user)
    : log_(log), charged_before_(std::exchange(log.charged_, user)),
      gate_([&log, user](Log_Level level) { return log.admits(user, level); }) {}

Log_Charge::~Log_Charge() {
    log_.charged_ = charged_before_;
}

std::unique_ptr<Log_Charge> charge_to(Client_Log &log, std::optional<uid_t> user) {
    return user ? std::make_unique<Log_Charge>(log, *user) : nullptr;
}

} // namespace wispd
