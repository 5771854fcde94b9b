#include "host/log.h"

#include <memory>
#include <mutex>
#include <stdexcept>
#include <syslog.h>
#include <utility>

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/sinks/syslog_sink.h>
#include <spdlog/spdlog.h>

#include "common/printable.h"
#include "host/log_file.h"

namespace wispd {

namespace {

// Never destroyed: at the end of the process, another thread can still log.
std::shared_ptr<spdlog::logger> &logger() {
    static auto *instance = new std::shared_ptr<spdlog::logger>(
        std::make_shared<spdlog::logger>("wispd", std::make_shared<spdlog::sinks::stderr_sink_st>()));
    return *instance;
}

std::mutex &guard() {
    static std::mutex mutex;
    return mutex;
}

std::string &log_file() {
    static auto *path = new std::string;
    return *path;
}

void use(std::shared_ptr<spdlog::sinks::sink> sink, const char *pattern) {
    const std::lock_guard lock(guard());
    const auto level = logger()->level();
    logger() = std::make_shared<spdlog::logger>("wispd", std::move(sink));
    logger()->set_pattern(pattern);
    logger()->set_level(level);
    logger()->flush_on(spdlog::level::trace);
}

thread_local const Log_Diversion *innermost = nullptr;

spdlog::level::level_enum spdlog_level(Log_Level level) {
    switch (level) {
    case Log_Level::debug:
        return spdlog::level::debug;
    case Log_Level::info:
        return spdlog::level::info;
    case Log_Level::warning:
        return spdlog::level::warn;
    case Log_Level::error:
        break;
    }
    return spdlog::level::err;
}

void put(Log_Level level, std::string_view line) {
    if (innermost != nullptr) {
        innermost->receive(level, line);
    } else {
        log_undiverted(level, line);
    }
}

constexpr const char *TIMED = "%Y-%m-%d %H:%M:%S.%e %^%l%$ %v";

} // namespace

void log_to_stderr() {
    use(std::make_shared<spdlog::sinks::stderr_sink_st>(), TIMED);
}

void log_to_system() {
    use(std::make_shared<spdlog::sinks::syslog_sink_st>("wispd", LOG_PID, LOG_DAEMON, true), "%v");
}

void log_to_file(const std::string &path) {
    const Log_File file(path);
    use(std::make_shared<spdlog::sinks::basic_file_sink_st>(file.path_by_descriptor()), TIMED);
    log_file() = path;
}

void log_reopen() {
    if (log_file().empty()) {
        return;
    }
    try {
        log_to_file(log_file());
    } catch (const std::exception &error) {
        log_error(error.what());
    }
}

void set_log_level(const std::string &level) {
    const std::lock_guard lock(guard());
    logger()->set_level(spdlog::level::from_str(level));
}

bool is_logged(Log_Level level) {
    const std::lock_guard lock(guard());
    return logger()->should_log(spdlog_level(level));
}

Log_Diversion::Log_Diversion(Receiver receiver)
    : receiver_(std::move(receiver)), outer_(std::exchange(innermost, this)) {}

Log_Diversion::~Log_Diversion() {
    innermost = outer_;
}

// Clients choose some names in these lines. Escaping keeps such a name from forging a line of its own.
void log_undiverted(Log_Level level, std::string_view line) {
    const std::lock_guard lock(guard());
    if (logger()->should_log(spdlog_level(level))) {
        logger()->log(spdlog_level(level), "{}", terminal::printable(line));
    }
}

void log_debug(std::string_view line) {
    put(Log_Level::debug, line);
}
void log_info(std::string_view line) {
    put(Log_Level::info, line);
}
void log_warning(std::string_view line) {
    put(Log_Level::warning, line);
}
void log_error(std::string_view line) {
    put(Log_Level::error, line);
}

} // namespace wispd
