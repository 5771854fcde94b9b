// SPDX-License-Identifier: Apache-2.0
// The main function of wispd, the heartbeat daemon.
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>

#include <CLI/CLI.hpp>

#include "common/complaint.h"
#include "common/option_tree.h"
#include "common/printable.h"
#include "common/socket_path.h"
#include "daemon/daemon.h"
#include "daemon/system_setup.h"
#include "engine/access/engine_access.h"
#include "host/detach.h"
#include "host/log.h"
#include "host/paths.h"
#include "host/process_setup.h"
#include "host/start_failure.h"
#include "host/text.h"

namespace {

using wispd::text;

constexpr int FAILED = 1;
constexpr int USAGE = 2;

struct Options {
    std::string config;
    std::string socket;
    std::string control;
    bool foreground = false;
    bool check = false;
};

void say(const std::string &line) {
    const std::string prefix = wispd::stderr_prefix(wispd::Log_Level::error);
    std::fputs(text(prefix, "wispd: ", terminal::printable(line), "\n").c_str(), stderr);
}

// Blocks or unblocks the reload signal. The start can last as long as that of the cluster engine; a reload
// requested meanwhile waits for it.
void hold_reloads(int how) {
    sigset_t reload;
    sigemptyset(&reload);
    sigaddset(&reload, SIGHUP);
    pthread_sigmask(how, &reload, nullptr);
}

void add_options(CLI::App &app, Options &options) {
    app.add_option("--config", options.config, "Read the configuration from this file")
        ->required()
        ->type_name("FILE");
    app.add_option("--socket", options.socket, "Listen for clients here (overrides [daemon] socket)")
        ->type_name("PATH");
    app.add_option("--control", options.control, "Listen for wispctl here (overrides [daemon] control)")
        ->type_name("PATH");
    app.add_flag("--foreground", options.foreground, "Stay in the foreground and log to standard error");
    app.add_flag("--check", options.check, "Check the configuration, its groups and its timeline, and exit");
    app.set_version_flag("--version", std::string("wispd " WISPD_VERSION));
    common::offer_option_tree(app);
}

wispd::Start read_start(const Options &options) {
    wispd::Start start;
    start.follow_engine = wispd::follow_engine;
    start.file = wispd::read_configuration_file(options.config);
    if (start.file.engine) {
        wispd::need_engine_access(*start.file.engine);
    }
    // The working directory may change later, so resolve the paths now.
    start.config_path = wispd::absolute_path(options.config);
    wispd::Daemon_Settings &settings = start.file.daemon;
    settings.log_file = wispd::absolute_path(settings.log_file);
    for (wispd::Endpoint &endpoint : start.file.endpoints) {
        endpoint.path = wispd::absolute_path(endpoint.path);
    }
    std::string socket = options.socket.empty() ? settings.socket : options.socket;
    socket = wispd::absolute_path(socket.empty() ? common::socket_path_from_environment() : socket);
    std::string control = options.control.empty() ? settings.control : options.control;
    start.control_path = wispd::absolute_path(control.empty() ? wispd::control_path_for(socket) : control);
    start.socket_path = std::move(socket);
    if (!start.file.timeline.empty()) {
        start.timeline = wispd::read_timeline(wispd::absolute_path(start.file.timeline));
    }
    return start;
}

void choose_log(const Options &options, const wispd::Daemon_Settings &settings) {
    if (!settings.log_file.empty()) {
        wispd::log_to_file(settings.log_file);
    } else if (options.foreground) {
        wispd::log_to_journal_or_stderr();
    } else {
        wispd::log_to_system();
    }
    wispd::set_log_level(settings.log_level);
}

// Checks what the configuration names in this system, apart from the file itself and its timeline.
int check_system(const wispd::Daemon_Settings &settings) {
    try {
        wispd::find_access(settings);
        return 0;
    } catch (const std::exception &error) {
        say(error.what());
        return FAILED;
    }
}

int serve(const Options &options, wispd::Start start) {
    std::optional<wispd::Detachment> detachment;
    bool started = false;
    try {
        if (!options.foreground) {
            detachment = wispd::Detachment::begin();
        }
        choose_log(options, start.file.daemon);
        wispd::Daemon daemon(std::move(start));
        started = true;
        hold_reloads(SIG_UNBLOCK);
        if (detachment) {
            detachment->ready();
            detachment.reset();
        }
        daemon.run();
        return 0;
    } catch (const std::exception &error) {
        if (started) {
            wispd::log_error(error.what());
        } else {
            say(error.what());
        }
        if (detachment) {
            detachment->failed(FAILED);
        }
        return FAILED;
    }
}

} // namespace

int main(int argc, char **argv) {
    wispd::prepare_process();
    CLI::App app("wispd, the heartbeat daemon: serves a cluster's configuration and membership to clients",
                 "wispd");
    Options options;
    add_options(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        // CLI11 reports a missing --config before a word that it does not know.
        if (error.get_exit_code() != 0 && !app.remaining().empty()) {
            const std::string line = common::unknown_word_line("wispd", app.remaining().front());
            std::cerr << "wispd: " << terminal::printable(line) << "\n";
            return USAGE;
        }
        std::ostringstream complaint;
        const bool is_misuse = app.exit(error, std::cout, complaint) != 0;
        if (is_misuse) {
            std::cerr << "wispd: " << terminal::printable_lines(complaint.str());
        }
        return is_misuse ? USAGE : 0;
    }
    hold_reloads(SIG_BLOCK);
    // Before any thread starts: threads can read the environment, which this changes.
    const wispd::Service_Notify service = wispd::Service_Notify::from_environment();
    wispd::Start start;
    try {
        start = read_start(options);
        start.service = service;
        start.version = WISPD_VERSION;
    } catch (const std::exception &error) {
        say(error.what());
        return USAGE;
    }
    return options.check ? check_system(start.file.daemon) : serve(options, std::move(start));
}
