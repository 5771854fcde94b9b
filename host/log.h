// The daemon's log: where it goes, which levels it has, and the functions that write to it.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace wispd {

// Sends lines to standard error. This is the default until another target is chosen.
void log_to_stderr();
// Sends lines to syslog, without a time.
void log_to_system();
// Throws std::runtime_error when the file cannot be opened.
void log_to_file(const std::string &path);
// Reopens the log file after log rotation. Does nothing if lines go elsewhere. If the file cannot be opened,
// logs that and continues with the previous file.
void log_reopen();
// Accepts debug, info, warning or error.
void set_log_level(const std::string &level);

enum class Log_Level { debug, info, warning, error };

// Returns whether lines of this level are logged.
bool is_logged(Log_Level level);

// While the object exists, the receiver gets the lines that this thread logs, and the log does not. If objects
// are nested, only the innermost receives.
class Log_Diversion {
  public:
    using Receiver = std::function<void(Log_Level level, std::string_view line)>;

    explicit Log_Diversion(Receiver receiver);
    Log_Diversion(const Log_Diversion &) = delete;
    Log_Diversion &operator=(const Log_Diversion &) = delete;
    ~Log_Diversion();

    void receive(Log_Level level, std::string_view line) const { receiver_(level, line); }

  private:
    Receiver receiver_;
    const Log_Diversion *outer_;
};

// Writes to the log even while a Log_Diversion exists.
void log_undiverted(Log_Level level, std::string_view line);

void log_debug(std::string_view line);
void log_info(std::string_view line);
void log_warning(std::string_view line);
void log_error(std::string_view line);

} // namespace wispd
