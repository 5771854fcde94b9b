// SPDX-License-Identifier: Apache-2.0
// wispctl drives a running wispd through its control socket.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "common/complaint.h"
#include "common/no_answer.h"
#include "common/option_tree.h"
#include "common/printable.h"
#include "common/socket_path.h"
#include "host/paths.h"
#include "host/text.h"
#include "tools/wispctl/connection.h"
#include "tools/wispctl/members.h"

namespace {

using nlohmann::ordered_json;
using wispctl::Connection;
using wispctl::Failure;
using wispd::text;

constexpr int FAILED = 1;
constexpr int USAGE = 2;
constexpr std::size_t LEVELS_MOST = 64; // many times the depth of wispd's answers
constexpr double TIMEOUT_LONGEST = 1e9; // seconds

// Converts "2.5" seconds to whole seconds and microseconds; throws for anything else.
void put_threshold(const std::string &seconds, ordered_json &command) {
    const std::size_t point = seconds.find('.');
    const std::string whole = seconds.substr(0, point);
    std::string fraction = point == std::string::npos ? "0" : seconds.substr(point + 1);
    const auto digits = [](const std::string &part, std::size_t longest) {
        return !part.empty() && part.size() <= longest &&
               part.find_first_not_of("0123456789") == std::string::npos;
    };
    if (!digits(whole, 10) || !digits(fraction, 6)) {
        throw CLI::ValidationError("threshold", "expected seconds with at most six decimals, such as 2.5");
    }
    fraction.resize(6, '0');
    command["threshold_seconds"] = std::stoll(whole);
    command["threshold_microseconds"] = std::stoll(fraction);
}

CLI::Validator seconds_above_zero() {
    return CLI::Validator(
        [](std::string &word) {
            char *end = nullptr;
            const double seconds = std::strtod(word.c_str(), &end);
            const bool is_number = !word.empty() && *end == '\0';
            return is_number && seconds > 0 && seconds <= TIMEOUT_LONGEST
                       ? std::string()
                       : text("'", word, "' is not a number of seconds above 0");
        },
        "");
}

struct Arguments {
    std::string member; // a node or an adapter, by number or name
    int64_t instance = 0;
    std::string address;
    std::string type;
    std::string config;
    std::string timeline;
    std::string threshold;
    std::string id;
    std::string level;
    bool enable = false;
    bool disable = false;
};

void add_numbered(CLI::App &app, Arguments &arguments, ordered_json &command, const std::string &verb,
                  const std::string &kind, const std::string &help) {
    CLI::App *sub = app.add_subcommand(verb, help);
    sub->add_option(kind, arguments.member, "Number or name of the " + kind)->required();
    sub->final_callback([&arguments, &command, verb, kind] {
        command = {{"do", verb}, {kind, wispctl::member_of(arguments.member)}};
    });
}

void add_verbs(CLI::App &app, Arguments &arguments, ordered_json &command) {
    add_numbered(app, arguments, command, "node-up", "node", "Bring up all adapters of a node");
    add_numbered(app, arguments, command, "node-down", "node", "Take down a node and all its adapters");
    add_numbered(app, arguments, command, "node-join", "node", "Add a node to the configuration; it is up");
    add_numbered(app, arguments, command, "node-leave", "node", "Remove a node from the configuration");
    add_numbered(app, arguments, command, "adapter-up", "adapter", "Bring up an adapter");
    add_numbered(app, arguments, command, "adapter-down", "adapter", "Take down an adapter");
    add_numbered(app, arguments, command, "adapter-leave", "adapter",
                 "Remove an adapter from the configuration");

    CLI::App *join = app.add_subcommand("adapter-join", "Add an adapter to the configuration; it is up");
    join->add_option("adapter", arguments.member, "Number or name of the adapter")->required();
    join->add_option("--address", arguments.address,
                     "Address, if the configuration file does not describe the adapter");
    join->add_option("--type", arguments.type, "Type, such as eth0");
    join->final_callback([&] {
        command = {{"do", "adapter-join"}, {"adapter", wispctl::member_of(arguments.member)}};
        if (!arguments.address.empty()) {
            command["address"] = arguments.address;
        }
        if (!arguments.type.empty()) {
            command["type"] = arguments.type;
        }
    });

    CLI::App *reconfigure =
        app.add_subcommand("reconfigure", "Load the configuration file again, or another one");
    reconfigure->add_option("config", arguments.config, "Configuration file to load instead");
    reconfigure->final_callback([&] {
        command = {{"do", "reconfigure"}};
        if (!arguments.config.empty()) {
            command["config"] = wispd::absolute_path(arguments.config);
        }
    });

    CLI::App *heartbeat =
        app.add_subcommand("heartbeat", "Change the heartbeat settings and report them to clients");
    heartbeat->add_option("threshold", arguments.threshold, "Threshold in seconds, such as 2.5");
    CLI::Option *enable = heartbeat->add_flag("--enable", arguments.enable, "Enable client heartbeats");
    heartbeat->add_flag("--disable", arguments.disable, "Disable client heartbeats")->excludes(enable);
    heartbeat->final_callback([&] {
        command = {{"do", "heartbeat"}};
        if (!arguments.threshold.empty()) {
            put_threshold(arguments.threshold, command);
        }
        if (arguments.enable || arguments.disable) {
            command["enabled"] = arguments.enable;
        }
    });

    CLI::App *ffdc = app.add_subcommand("ffdc", "Report a first-failure identifier to clients");
    ffdc->add_option("id", arguments.id, "Identifier (default: wispd creates one)");
    ffdc->final_callback([&] {
        command = {{"do", "ffdc"}};
        if (!arguments.id.empty()) {
            command["id"] = arguments.id;
        }
    });

    CLI::App *foreign =
        app.add_subcommand("foreign-instance", "Report a sender with another configuration instance");
    foreign->add_option("address", arguments.address, "Address of the sender")->required();
    foreign->add_option("instance", arguments.instance, "Configuration instance of the sender")->required();
    foreign->final_callback([&] {
        command = {
            {"do", "foreign-instance"}, {"address", arguments.address}, {"instance", arguments.instance}};
    });

    add_numbered(app, arguments, command, "node-may-be-down", "node",
                 "Suspect a node; it dies unless it shows a sign of life in time");
    add_numbered(app, arguments, command, "adapter-may-be-down", "adapter",
                 "Suspect an adapter; it dies unless it shows a sign of life in time");
    CLI::App *swap =
        app.add_subcommand("swap-adapters", "Exchange the addresses of two adapters of the local node");
    swap->add_option("adapter", arguments.member, "Number or name of the first adapter")->required();
    swap->add_option("address", arguments.address, "IPv4 address of the second adapter")->required();
    swap->final_callback([&] {
        command = {{"do", "swap-adapters"},
                   {"adapter", wispctl::member_of(arguments.member)},
                   {"address", arguments.address}};
    });
    app.add_subcommand("rotate-key", "Put a new security key into use")->final_callback([&] {
        command = {{"do", "rotate-key"}};
    });

    CLI::App *play = app.add_subcommand("play", "Play a timeline: the given one, or the configured one again");
    play->add_option("timeline", arguments.timeline, "Timeline file");
    play->final_callback([&] {
        command = {{"do", "play"}};
        if (!arguments.timeline.empty()) {
            command["timeline"] = wispd::absolute_path(arguments.timeline);
        }
    });

    CLI::App *level =
        app.add_subcommand("log-level", "Change wispd's log level until the next reload or restart");
    level->add_option("level", arguments.level, "debug, info, warning or error")
        ->required()
        ->check(CLI::IsMember({"debug", "info", "warning", "error"}));
    level->final_callback([&] { command = {{"do", "log-level"}, {"level", arguments.level}}; });

    app.add_subcommand("state", "Print the cluster and the clients as JSON")->final_callback([&] {
        command = {{"do", "state"}};
    });
    app.add_subcommand("stop", "Stop wispd, and wait until it has removed its files and segments")
        ->final_callback([&] {
            command = {{"do", "stop"}};
        });
}

// The nesting depth of objects and arrays. Printing a value needs stack for each level.
std::size_t nesting_of(const std::string &json) {
    std::size_t depth = 0;
    std::size_t deepest = 0;
    bool in_text = false;
    for (std::size_t i = 0; i < json.size(); ++i) {
        const char byte = json[i];
        if (in_text) {
            i += byte == '\\' ? 1 : 0;
            in_text = byte != '"';
        } else if (byte == '"') {
            in_text = true;
        } else if (byte == '{' || byte == '[') {
            deepest = std::max(deepest, ++depth);
        } else if (byte == '}' || byte == ']') {
            depth -= depth > 0 ? 1 : 0;
        }
    }
    return deepest;
}

// Returns the complete answer, also one that rejects the command.
ordered_json ask(Connection &connection, const std::string &path, const ordered_json &command) {
    const std::string line = command.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
    const std::string text_of_answer = connection.ask(line, command["do"] != "state");
    const bool is_flat = nesting_of(text_of_answer) <= LEVELS_MOST;
    ordered_json answer = is_flat ? ordered_json::parse(text_of_answer, nullptr, false) : ordered_json();
    if (!answer.is_object() || !answer.contains("ok")) {
        throw Failure(text("invalid answer from ", path, "; is this wispd's control socket?"));
    }
    return answer;
}

std::string why_rejected(const ordered_json &answer) {
    return answer.value("error", "wispd rejected the command without a reason");
}

ordered_json ask_state(Connection &connection, const std::string &path) {
    const ordered_json answer = ask(connection, path, {{"do", "state"}});
    if (answer["ok"] != true || !answer.contains("state")) {
        throw Failure(why_rejected(answer));
    }
    return answer["state"];
}

// The key of the command that names a node or an adapter; empty if it has none.
std::string noun_of(const ordered_json &command) {
    return command.contains("node") ? "node" : command.contains("adapter") ? "adapter" : "";
}

void find_names(Connection &connection, const std::string &path, ordered_json &command) {
    const std::string noun = noun_of(command);
    if (!noun.empty() && command[noun].is_string()) {
        const auto name = command[noun].get<std::string>();
        command[noun] = wispctl::find_member(noun, name, ask_state(connection, path));
    }
}

// A number that is not configured is the usual reason for a rejection. Only what joins may be without configuration.
std::optional<std::string> better_reason(Connection &connection, const std::string &path,
                                         const ordered_json &command) {
    const std::string noun = noun_of(command);
    if (noun.empty() || command["do"].get<std::string>().ends_with("-join")) {
        return std::nullopt;
    }
    try {
        return wispctl::why_not_configured(noun, command[noun].get<int64_t>(), ask_state(connection, path));
    } catch (const Failure &) {
        return std::nullopt; // the reason that was given is still true
    }
}

int drive(const std::string &path, std::chrono::milliseconds patience, ordered_json command) {
    Connection connection(path, patience);
    find_names(connection, path, command);
    const ordered_json answer = ask(connection, path, command);
    if (answer["ok"] != true) {
        throw Failure(better_reason(connection, path, command).value_or(why_rejected(answer)));
    }
    if (command["do"] == "state") {
        std::puts(terminal::printable_json(answer["state"].dump(2)).c_str());
    }
    if (command["do"] == "stop") {
        connection.wait_for_end();
    }
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    CLI::App app("Control a running wispd", "wispctl");
    common::offer_option_tree(app);
    app.require_subcommand(1);
    app.group("Commands");
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    std::string control;
    std::string socket;
    CLI::Option *option =
        app.add_option("--control", control, "Connect to this control socket")->type_name("PATH");
    app.add_option("--socket", socket, "Connect to the control socket of this client socket: PATH.control")
        ->type_name("PATH")
        ->excludes(option);
    app.set_version_flag("--version", std::string("wispctl " WISPD_VERSION));
    app.footer("Without --control and --socket, HB_SERVER_SOCKET, HA_DOMAIN_NAME and HA_SYSPAR_NAME select the "
               "socket, "
               "as for clients.");
    double seconds = std::chrono::duration<double>(common::DEFAULT_PATIENCE).count();
    app.add_option("--timeout", seconds, "Give up when wispd does not answer within this time (default 10)")
        ->check(seconds_above_zero())
        ->type_name("SECONDS");
    app.fallthrough();
    Arguments arguments;
    ordered_json command;
    add_verbs(app, arguments, command);
    try {
        app.parse(argc, argv);
    } catch (const Failure &error) {
        std::fputs(text("wispctl: ", terminal::printable(error.what()), "\n").c_str(), stderr);
        return USAGE;
    } catch (const CLI::ParseError &error) {
        if (app.get_subcommands().empty() && !app.remaining().empty()) {
            const std::string line = common::unknown_word_line("wispctl", app.remaining().front());
            std::fputs(text("wispctl: ", terminal::printable(line), "\n").c_str(), stderr);
            return USAGE;
        }
        if (app.get_subcommands().empty() && error.get_name() == "RequiredError") {
            std::fputs(text("wispctl: ", common::no_command_line("wispctl"), "\n").c_str(), stderr);
            return USAGE;
        }
        std::ostringstream complaint;
        const int status = app.exit(error, std::cout, complaint) == 0 ? 0 : USAGE;
        const std::string program = status == 0 ? "" : "wispctl: ";
        std::fputs(terminal::printable_lines(program + complaint.str()).c_str(), stderr);
        return status;
    }
    if (control.empty()) {
        control = wispd::control_path_for(socket.empty() ? common::socket_path_from_environment() : socket);
    }
    try {
        return drive(control, common::patience_of(seconds), command);
    } catch (const std::exception &error) {
        std::fputs(text("wispctl: ", terminal::printable(error.what()), "\n").c_str(), stderr);
        return FAILED;
    }
}
