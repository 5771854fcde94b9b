// SPDX-License-Identifier: Apache-2.0
// Limits the log lines that users cause as clients and on the control socket.
//
// Users can cause any number of lines by repeated requests or connections. The limit keeps those lines from
// filling the disk.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>
#include <utility>

#include "host/log.h"

namespace wispd {

// Allows each user a fixed number of lines of each level in a period. Further lines are counted. The count is
// logged with the user's next line, or by report().
class Client_Log {
  public:
    using Time = std::chrono::steady_clock::time_point;
    static constexpr std::size_t LINES = 200;
    static constexpr std::chrono::seconds PERIOD{60};

    explicit Client_Log(std::function<Time()> clock = std::chrono::steady_clock::now)
        : clock_(std::move(clock)) {}
    Client_Log(const Client_Log &) = delete;
    Client_Log &operator=(const Client_Log &) = delete;

    // Charges the user with one line. Returns whether it is logged; the caller then passes it to log_admitted().
    bool admits(uid_t user, Log_Level level);
    void put(uid_t user, Log_Level level, std::string_view line, const Log_Fields &fields = {});
    void debug(uid_t user, const std::string &line, const Log_Fields &fields = {}) {
        put(user, Log_Level::debug, line, fields);
    }
    void info(uid_t user, const std::string &line, const Log_Fields &fields = {}) {
        put(user, Log_Level::info, line, fields);
    }
    void warning(uid_t user, const std::string &line, const Log_Fields &fields = {}) {
        put(user, Log_Level::warning, line, fields);
    }

    // Logs the counts of suppressed lines for ended periods, or for all periods. Returns false if no count is
    // left to report.
    bool report(bool all = false);
    // Sets a function that is called when the first line of a period is suppressed. The owner should call
    // report() one period later.
    void on_suppression(std::function<void()> call) { on_suppression_ = std::move(call); }

    // Returns the user that pays for the lines logged now.
    std::optional<uid_t> charged() const { return charged_; }

  private:
    friend class Log_Charge;

    struct Spent {
        Time since;
        std::size_t lines = 0;
        std::size_t suppressed = 0;
    };
    using Account = std::pair<uid_t, Log_Level>;

    Spent &spent_in_this_period(const Account &account);
    static void report_one(const Account &account, Spent &spent);

    std::function<Time()> clock_;
    std::function<void()> on_suppression_ = [] {};
    std::map<Account, Spent> spent_;
    std::optional<uid_t> charged_;
};

// During its lifetime, every line that this thread logs is charged to the user, regardless of the part of the
// daemon.
class Log_Charge {
  public:
    Log_Charge(Client_Log &log, uid_t user);
    Log_Charge(const Log_Charge &) = delete;
    Log_Charge &operator=(const Log_Charge &) = delete;
    ~Log_Charge();

  private:
    Client_Log &log_;
    std::optional<uid_t> charged_before_;
    Log_Gate gate_;
};

// Returns null if `user` is empty: the lines are then not charged.
std::unique_ptr<Log_Charge> charge_to(Client_Log &log, std::optional<uid_t> user);

} // namespace wispd
