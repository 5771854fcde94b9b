// SPDX-License-Identifier: Apache-2.0
// The daemon's log: where it goes, which levels it has, and the functions that write to it.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "host/journal.h"
#include "host/log_fields.h"

namespace wispd {

// Sends lines to standard error. This is the default until another target is chosen.
void log_to_stderr();
// Sends lines to standard error, or if that belongs to the journal, to the journal's socket with priority and fields.
// Lines that the socket does not accept go to standard error without a time, with the prefix for their level that the
// journal reads.
void log_to_journal_or_stderr(const std::string &journal_socket = Journal::SOCKET);
// Sends lines to syslog, without a time.
void log_to_system();
// Throws std::runtime_error when the file cannot be opened.
void log_to_file(const std::string &path);
// Reopens the log file after log rotation. Does nothing if lines go elsewhere. If the file cannot be opened,
// logs that and continues with the previous file.
void log_reopen();
// Returns whether the text is debug, info, warning or error.
bool is_log_level(std::string_view level);
// Accepts one of these four.
void set_log_level(const std::string &level);
std::string log_level();

enum class Log_Level { debug, info, warning, error };

// Returns whether lines of this level are logged.
bool is_logged(Log_Level level);

// While the object exists, the gate decides which of this thread's lines are logged. If objects are nested, only the
// innermost decides.
class Log_Gate {
  public:
    // Is called once for each line.
    using Admit = std::function<bool(Log_Level level)>;

    explicit Log_Gate(Admit admit);
    Log_Gate(const Log_Gate &) = delete;
    Log_Gate &operator=(const Log_Gate &) = delete;
    ~Log_Gate();

    bool admits(Log_Level level) const { return admit_(level); }

  private:
    Admit admit_;
    const Log_Gate *outer_;
};

// Asks the gate for one line, so a caller builds no text that nobody reads. Pass an admitted line to log_admitted().
bool log_admits(Log_Level level);
// Writes to the log without asking a gate.
void log_admitted(Log_Level level, std::string_view line, const Log_Fields &fields = {});

void log_debug(std::string_view line, const Log_Fields &fields = {});
void log_info(std::string_view line, const Log_Fields &fields = {});
void log_warning(std::string_view line, const Log_Fields &fields = {});
void log_error(std::string_view line, const Log_Fields &fields = {});

// Returns the prefix by which the journal recognises the level of a line on standard error; empty if standard error
// is not the journal's.
std::string stderr_prefix(Log_Level level);

} // namespace wispd
