// The daemon's log.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace wispd {

// Lines go to standard error until one of the others is called.
void log_to_stderr();
void log_to_system();
// Throws std::runtime_error when the file cannot be opened.
void log_to_file(const std::string &path);
// Opens the log file anew, for log rotation.
void log_reopen();
// debug, info, warning or error.
void set_log_level(const std::string &level);

enum class Log_Level { debug, info, warning, error };

// Whether lines of this level are logged.
bool is_logged(Log_Level level);

// Takes the lines that this thread logs while the object lives, in place of the log; of several, the innermost does.
class Log_Diversion {
  public:
    using Taker = std::function<void(Log_Level level, std::string_view line)>;

    explicit Log_Diversion(Taker taker);
    Log_Diversion(const Log_Diversion &) = delete;
    Log_Diversion &operator=(const Log_Diversion &) = delete;
    ~Log_Diversion();

    void take(Log_Level level, std::string_view line) const { taker_(level, line); }

  private:
    Taker taker_;
    const Log_Diversion *outer_;
};

// Goes to the log whatever diverts the others.
void log_undiverted(Log_Level level, std::string_view line);

void log_debug(std::string_view line);
void log_info(std::string_view line);
void log_warning(std::string_view line);
void log_error(std::string_view line);

} // namespace wispd
