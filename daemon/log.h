// The daemon's log.
#ifndef WISPD_LOG_H
#define WISPD_LOG_H

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

void log_debug(std::string_view line);
void log_info(std::string_view line);
void log_warning(std::string_view line);
void log_error(std::string_view line);

} // namespace wispd

#endif
