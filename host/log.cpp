// SPDX-License-Identifier: Apache-2.0
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
#include "host/journal.h"
#include "host/log_file.h"
#include "host/text.h"

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

// Null unless standard error belongs to the journal.
std::unique_ptr<Journal> &journal() {
    static auto *instance = new std::unique_ptr<Journal>;
    return *instance;
}

void use(std::shared_ptr<spdlog::sinks::sink> sink, const char *pattern,
         std::unique_ptr<Journal> new_journal = nullptr) {
    const std::lock_guard lock(guard());
    journal() = std::move(new_journal);
    const auto level = logger()->level();
    logger() = std::make_shared<spdlog::logger>("wispd", std::move(sink));
    logger()->set_pattern(pattern);
    logger()->set_level(level);
    logger()->flush_on(spdlog::level::trace);
}

thread_local const Log_Gate *innermost = nullptr;

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

Priority priority_of(Log_Level level) {
    switch (level) {
    case Log_Level::debug:
        return LOG_DEBUG;
    case Log_Level::info:
        return LOG_INFO;
    case Log_Level::warning:
        return LOG_WARNING;
    case Log_Level::error:
        break;
    }
    return LOG_ERR;
}

std::string prefix_of(Log_Level level) {
    return text("<", priority_of(level), ">");
}

void put(Log_Level level, std::string_view line, const Log_Fields &fields) {
    if (log_admits(level)) {
        log_admitted(level, line, fields);
    }
}

constexpr const char *TIMED = "%Y-%m-%d %H:%M:%S.%e %^%l%$ %v";

} // namespace

void log_to_stderr() {
    use(std::make_shared<spdlog::sinks::stderr_sink_st>(), TIMED);
}

void log_to_journal_or_stderr(const std::string &journal_socket) {
    if (!stderr_is_journal()) {
        log_to_stderr();
        return;
    }
    use(std::make_shared<spdlog::sinks::stderr_sink_st>(), "%v", std::make_unique<Journal>(journal_socket));
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

bool is_log_level(std::string_view level) {
    return level == "debug" || level == "info" || level == "warning" || level == "error";
}

std::string log_level() {
    const std::lock_guard lock(guard());
    const auto name = spdlog::level::to_string_view(logger()->level());
    return {name.data(), name.size()};
}

void set_log_level(const std::string &level) {
    const std::lock_guard lock(guard());
    logger()->set_level(spdlog::level::from_str(level));
}

bool is_logged(Log_Level level) {
    const std::lock_guard lock(guard());
    return logger()->should_log(spdlog_level(level));
}

Log_Gate::Log_Gate(Admit admit) : admit_(std::move(admit)), outer_(std::exchange(innermost, this)) {}

Log_Gate::~Log_Gate() {
    innermost = outer_;
}

bool log_admits(Log_Level level) {
    return is_logged(level) && (innermost == nullptr || innermost->admits(level));
}

// Clients choose some names in these lines. Escaping keeps such a name from forging a line of its own.
void log_admitted(Log_Level level, std::string_view line, const Log_Fields &fields) {
    const std::lock_guard lock(guard());
    if (!logger()->should_log(spdlog_level(level))) {
        return;
    }
    if (journal() && journal()->write(priority_of(level), line, fields)) {
        return;
    }
    logger()->log(spdlog_level(level), "{}{}", journal() ? prefix_of(level) : "", terminal::printable(line));
}

void log_debug(std::string_view line, const Log_Fields &fields) {
    put(Log_Level::debug, line, fields);
}
void log_info(std::string_view line, const Log_Fields &fields) {
    put(Log_Level::info, line, fields);
}
void log_warning(std::string_view line, const Log_Fields &fields) {
    put(Log_Level::warning, line, fields);
}
void log_error(std::string_view line, const Log_Fields &fields) {
    put(Log_Level::error, line, fields);
}

std::string stderr_prefix(Log_Level level) {
    return stderr_is_journal() ? prefix_of(level) : "";
}

} // namespace wispd
