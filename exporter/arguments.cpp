// SPDX-License-Identifier: Apache-2.0
#include "exporter/arguments.h"

#include <algorithm>
#include <sstream>

#include <CLI/CLI.hpp>

#include "common/option_tree.h"

namespace exporter {
namespace {

constexpr int HIGHEST_PORT = 65535;

std::optional<int> parse_port(const std::string &text) {
    constexpr std::size_t most_digits = 5;
    const bool digits = std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
    if (text.empty() || text.size() > most_digits || !digits) {
        return std::nullopt;
    }
    const int port = std::stoi(text);
    return port <= HIGHEST_PORT ? std::optional(port) : std::nullopt;
}

CLI::Validator listen_address() {
    return CLI::Validator(
        [](std::string &text) {
            return parse_listen_address(text) ? std::string()
                                              : "'" + text +
                                                    "' is not an address and a port; expected for "
                                                    "instance 127.0.0.1:9782 or [::1]:9782";
        },
        "");
}

// The help names the type of a value, and the description its range.
CLI::Validator seconds(int least) {
    constexpr int most = 86400;
    return CLI::Range(least, most).description("");
}

} // namespace

std::optional<Listen_Address> parse_listen_address(const std::string &text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos) {
        return std::nullopt;
    }
    Listen_Address address;
    address.host = text.substr(0, colon);
    const std::optional<int> port = parse_port(text.substr(colon + 1));
    const bool bracketed = address.host.size() > 2 && address.host.front() == '[' && address.host.back() == ']';
    if (bracketed) {
        address.host = address.host.substr(1, address.host.size() - 2);
    }
    const bool has_colon = address.host.find(':') != std::string::npos;
    const bool has_bracket = address.host.find_first_of("[]") != std::string::npos;
    if (address.host.empty() || has_bracket || has_colon != bracketed || !port) {
        return std::nullopt;
    }
    address.port = *port;
    return address;
}

Parsed parse_arguments(int argc, const char *const *argv) {
    Arguments arguments;
    std::string listen = "127.0.0.1:9782";
    std::string socket;
    int stale = static_cast<int>(arguments.stale.count());
    int interval = static_cast<int>(arguments.interval.count());

    CLI::App app(
        "Serve the state of the cluster: a live page at /, metrics for Prometheus at /metrics, and /health",
        "hb_exporter");
    app.set_version_flag("--version", "hb_exporter " HB_EXPORTER_VERSION);
    common::offer_option_tree(app);
    CLI::Option *listen_option =
        app.add_option("--listen", listen,
                       "Serve HTTP here; port 0 means any free one (default 127.0.0.1:9782)")
            ->check(listen_address())
            ->type_name("ADDRESS:PORT");
    CLI::Option *file_option =
        app.add_option("--textfile", arguments.text_file,
                       "Write the metrics to this file, for a textfile collector; serve no HTTP")
            ->type_name("PATH")
            ->excludes(listen_option);
    app.add_option("--interval", interval,
                   "With --textfile: write the file at least this often (1 to 86400, default 10). Changes are "
                   "written at once")
        ->type_name("SECONDS")
        ->check(seconds(1))
        ->needs(file_option);
    CLI::Option *socket_option =
        app.add_option("--socket", socket, "Base path of the daemon's socket (default: HB_SERVER_SOCKET)")
            ->type_name("PATH");
    app.add_option("--stale", stale,
                   "Report hb_up 0 after this time without an answer of wispd (2 to 86400, default 2)")
        ->type_name("SECONDS")
        ->check(seconds(2));

    Parsed parsed;
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &end) {
        std::ostringstream output;
        std::ostringstream complaint;
        parsed.exit_status = app.exit(end, output, complaint) == 0 ? STATUS_SUCCESS : STATUS_USAGE;
        parsed.output = output.str();
        parsed.complaint = complaint.str().empty() ? "" : "hb_exporter: " + complaint.str();
        return parsed;
    }
    arguments.listen = *parse_listen_address(listen);
    if (socket_option->count() > 0) {
        arguments.socket = socket;
    }
    arguments.stale = std::chrono::seconds(stale);
    arguments.interval = std::chrono::seconds(interval);
    parsed.arguments = arguments;
    return parsed;
}

} // namespace exporter
