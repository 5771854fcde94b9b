// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/arguments.h"

#include <limits>
#include <map>
#include <sstream>

#include <CLI/CLI.hpp>

#include "common/complaint.h"
#include "common/option_tree.h"
#include "common/printable.h"
#include "tools/hbctl/control_grammar.h"
#include "tools/hbctl/event_names.h"
#include "tools/hbctl/member_word.h"
#include "tools/hbctl/table_columns.h"
#include "tools/hbctl/validators.h"
#include "tools/hbctl/wait_grammar.h"

namespace hbctl {
namespace {

// The arguments as typed, before they are checked against each other.
struct Raw {
    std::string socket;
    bool json = false;
    double timeout = 0;
    std::uint64_t count = 0;
    bool wait = false;
    std::string command;
    bool no_reconnect = false;
    std::int64_t migrate_after = -1; // -1: not given
    bool check = false;
    std::string name = "hbctl";
    std::string nodes;
    std::string adapters;
    std::string network;
    bool all_nodes = false;
    bool all_adapters = false;
    bool sites = false;
    bool different_instance = false;
    std::string events;
    bool once = false;
    std::int64_t width = 0;  // 0: not given
    std::int64_t height = 0; // likewise
    Control_Words control;
    Wait_Words wait_or_check;
    std::string output;
    bool dates = false;
    bool short_lines = false;
    bool no_headers = false;
    std::string columns;
    Table_Choice table;
};

constexpr std::uint32_t HIGHEST_NODE = HB_NODE_SLOTS - 1;
constexpr std::int64_t LEAST_WIDTH = 20;
constexpr std::int64_t MOST_COLUMNS = 1000;
constexpr std::int64_t LEAST_HEIGHT = 5;
constexpr std::int64_t MOST_ROWS = 10'000;
constexpr std::uint32_t HIGHEST_ADAPTER = HB_ADAPTER_SLOTS - 1;

void add_table_options(CLI::App &verb, const std::vector<Column> &columns, Raw &raw) {
    std::string headings;
    for (const Column &column : columns) {
        headings += (headings.empty() ? "" : ",") + column.heading;
    }
    verb.add_flag("--no-headers", raw.no_headers, "Omit the line with the headings");
    verb.add_option("--columns", raw.columns, "Show these columns, in this order: " + headings)
        ->check(CLI::Validator(
            [&columns, &raw](std::string &text) {
                Column_Choice choice = choose_columns(text, columns);
                raw.table.columns = std::move(choice.headings);
                return choice.complaint;
            },
            "", common::name_of_word_list(headings)))
        ->type_name("LIST");
}

// Returns a complaint about the first word that is not an event name. Adds up the mask.
std::string read_events(const std::string &words, int &mask) {
    std::istringstream stream(words);
    std::string word;
    mask = 0;
    while (std::getline(stream, word, ',')) {
        const auto event = event_of_name(word);
        if (!event) {
            return "'" + word + "' is not an event to subscribe to; expected " + subscribable_event_names();
        }
        mask |= *event;
    }
    return mask == 0 ? "no event is named; expected " + subscribable_event_names() : "";
}

CLI::Validator event_list() {
    return CLI::Validator(
        [](std::string &text) {
            int mask = 0;
            return read_events(text, mask);
        },
        "", common::name_of_word_list(subscribable_event_names()));
}

// A verb that prints a table.
void add_list(CLI::App &app, const char *name, const char *help, const std::vector<Column> &columns, Raw &raw) {
    CLI::App *verb = app.add_subcommand(name, help);
    add_table_options(*verb, columns, raw);
}

void add_lines(CLI::App &verb, Raw &raw) {
    verb.add_flag("--short", raw.short_lines,
                  "Print lines of at most 80 columns: without addresses, and cut if need be");
    verb.add_flag("--date", raw.dates, "Print the date in each line");
}

void add_limits(CLI::App &verb, Raw &raw) {
    add_lines(verb, raw);
    verb.add_option("--count", raw.count, "Exit after this many events")
        ->check(positive_count())
        ->type_name("N");
    verb.add_option("--timeout", raw.timeout,
                    "Exit after this time; fractions are permitted.\n"
                    "Without it, exit with status 1 when the daemon does not answer within 10 seconds")
        ->check(positive_seconds())
        ->type_name("SECONDS");
    verb.add_option(
            "--exec", raw.command,
            "Run this shell command for each event instead of printing a line.\n"
            "It receives JSON on standard input, and HB_EVENT, HB_SEQ, HB_NODES and others as variables.\n"
            "The events wait while it runs; --count waits for the last run")
        ->check(not_empty("the command"))
        ->type_name("COMMAND");
    verb.add_flag("--wait", raw.wait, "Wait for the daemon if it does not listen yet");
    verb.add_flag("--no-reconnect", raw.no_reconnect,
                  "Exit with status 1 when the daemon disconnects, instead of reconnecting");
}

void add_subscribe(CLI::App &verb, Raw &raw) {
    verb.add_option("--name", raw.name, "Name the subscription; at most 31 bytes (default hbctl)")
        ->check(subscription_name())
        ->type_name("NAME");
    CLI::Option_group *what = verb.add_option_group("What to watch (exactly one)");
    what->add_option("--nodes", raw.nodes, "Watch these nodes, by number or name, for example 1,beta,5-7")
        ->check(member_list_up_to(HIGHEST_NODE))
        ->type_name("LIST");
    what->add_option("--adapters", raw.adapters, "Watch these adapters, by number or name")
        ->check(member_list_up_to(HIGHEST_ADAPTER))
        ->type_name("LIST");
    what->add_option("--network", raw.network, "Watch all adapters of a network, given by number or name")
        ->check(not_empty("the network"))
        ->type_name("NETWORK");
    what->add_flag("--all-nodes", raw.all_nodes, "Watch all nodes, also those configured later");
    what->add_flag("--all-adapters", raw.all_adapters, "Watch all adapters, also those configured later");
    what->add_flag("--sites", raw.sites, "Watch splits and merges of sites");
    what->add_flag("--different-instance", raw.different_instance,
                   "Watch for senders with another configuration instance");
    what->require_option(1);
    verb.add_option("--events", raw.events,
                    "Select the events of nodes or adapters: " + subscribable_event_names() +
                        " (default death,join,new-group)")
        ->check(event_list())
        ->type_name("LIST");
}

void add_migration(CLI::App &app, CLI::App &watch, Raw &raw) {
    watch
        .add_option("--migrate-after", raw.migrate_after,
                    "Migrate to the operating system's cluster service after this many events (0: at once)\n"
                    "and continue there. This stops the daemon, also for its other clients.\n"
                    "If the migration is not possible, stay with the daemon")
        ->check(whole_number(0, std::numeric_limits<std::int64_t>::max()))
        ->type_name("N");
    CLI::App *migrate = app.add_subcommand(
        "migrate", "Check whether a program can migrate to the operating system's cluster service");
    migrate->add_flag("--check", raw.check, "Prepare the migration, print what agrees, and abort it")
        ->required();
}

void add_report(CLI::App &app, Raw &raw) {
    app.add_subcommand("report",
                       "Collect states, logs, configuration and versions in one archive, without keys")
        ->add_option("--output", raw.output,
                     "Write this file (default: hb-report-HOST-DATE.tar.gz in the current directory)")
        ->check(not_empty("the file's name"))
        ->type_name("FILE");
}

void add_top(CLI::App &app, Raw &raw) {
    CLI::App *top = app.add_subcommand("top", "Show the cluster on the whole screen, as it changes");
    CLI::Option *once = top->add_flag("--once", raw.once, "Print one frame as text and exit");
    top->add_option("--width", raw.width, "With --once: columns (default: COLUMNS, or the terminal's, or 80)")
        ->check(whole_number(LEAST_WIDTH, MOST_COLUMNS))
        ->type_name("N")
        ->needs(once);
    top->add_option("--height", raw.height,
                    "With --once: rows at most (default: the terminal's, or as many as needed)")
        ->check(whole_number(LEAST_HEIGHT, MOST_ROWS))
        ->type_name("N")
        ->needs(once);
    top->add_flag("--wait", raw.wait, "Wait for the daemon if it does not listen yet")->excludes(once);
    top->footer(
        "Press h for the keys, q to end. NO_COLOR turns colours off. --timeout ends it after this time.");
}

struct Grammar {
    CLI::App app{
        "Show the state of the cluster heartbeat daemon (nodes, networks, adapters, sites, routes, keys),\n"
        "watch its events, and send it requests",
        "hbctl"};
    Raw raw;

    Grammar();
};

Grammar::Grammar() {
    app.set_version_flag("--version", std::string("hbctl ") + HBCTL_VERSION);
    common::offer_option_tree(app);
    app.add_option("--socket", raw.socket, "Connect to this daemon socket (default: from HB_SERVER_SOCKET)")
        ->check(not_empty("the socket's path"))
        ->type_name("PATH");
    app.add_option("--timeout", raw.timeout,
                   "Give up when the daemon does not answer within this time (default 10);\n"
                   "fractions are permitted. For watch, subscribe and top: exit after this time")
        ->check(positive_seconds())
        ->type_name("SECONDS");
    app.add_flag("--json", raw.json, "Print JSON, one object per line");
    app.require_subcommand(1);
    app.group("Commands");
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app.fallthrough();
    app.add_subcommand("status", "Show the daemon, the local node, and how much is configured and up");
    add_list(app, "nodes", "List the configured nodes and their states", node_columns(), raw);
    add_list(app, "networks", "List the configured networks", network_columns(), raw);
    add_list(app, "adapters", "List the configured adapters and their states", adapter_columns(), raw);
    add_list(app, "sites", "List the configured sites", site_columns(), raw);
    CLI::App *watch = app.add_subcommand("watch", "Print every event as it happens, one per line");
    add_limits(*watch, raw);
    add_migration(app, *watch, raw);
    CLI::App *subscribe = app.add_subcommand("subscribe", "Print selected events as they happen, one per line");
    add_subscribe(*subscribe, raw);
    add_limits(*subscribe, raw);
    add_top(app, raw);
    add_wait(app, raw.wait_or_check);
    add_check(app, raw.wait_or_check);
    add_report(app, raw);
    add_control_verbs(app, raw.control);
    add_table_options(*app.get_subcommand("adapter-state"), adapter_state_columns(), raw);
    for (CLI::App *verb : app.get_subcommands({})) {
        if (verb->get_footer().empty()) {
            verb->footer("Every command also accepts --socket, --json and --timeout: see hbctl --help.");
        }
    }
    app.footer(
        "Exit status: 0 success, 1 request failed, 2 usage error; wait and check have others, see their help.\n"
        "HB_SERVER_SOCKET, HA_DOMAIN_NAME and HA_SYSPAR_NAME select the daemon's socket;\n"
        "--socket overrides all three.");
}

Verb verb_of(const std::string &name) {
    static const std::map<std::string, Verb> verbs{{"status", Verb::status},
                                                   {"nodes", Verb::nodes},
                                                   {"networks", Verb::networks},
                                                   {"adapters", Verb::adapters},
                                                   {"sites", Verb::sites},
                                                   {"watch", Verb::watch},
                                                   {"migrate", Verb::migrate},
                                                   {"subscribe", Verb::subscribe},
                                                   {"top", Verb::top},
                                                   {"route", Verb::route},
                                                   {"wait", Verb::wait},
                                                   {"check", Verb::check},
                                                   {"report", Verb::report},
                                                   {"keys", Verb::keys},
                                                   {"multicast", Verb::multicast},
                                                   {"adapter-state", Verb::adapter_state}};
    const auto found = verbs.find(name);
    return found != verbs.end() ? found->second : Verb::control;
}

void select(const Raw &raw, Subscription_Request &request) {
    request.events = HB_EVENT_DEATH | HB_EVENT_JOIN | HB_EVENT_NEW_GROUP;
    if (!raw.nodes.empty()) {
        request.selection = Selection::nodes;
        request.members = parse_member_list(raw.nodes, HIGHEST_NODE).members;
    } else if (!raw.adapters.empty()) {
        request.selection = Selection::adapters;
        request.members = parse_member_list(raw.adapters, HIGHEST_ADAPTER).members;
    } else if (!raw.network.empty()) {
        request.selection = Selection::network;
        request.network = raw.network;
    } else if (raw.all_adapters) {
        request.selection = Selection::all_adapters;
    } else if (raw.sites) {
        request.selection = Selection::sites;
        request.events = HB_EVENT_SITE_SPLIT | HB_EVENT_SITE_MERGE;
    } else if (raw.different_instance) {
        request.selection = Selection::different_instance;
        request.events = HB_EVENT_DIFF_INSTANCE;
    } else {
        request.selection = Selection::all_nodes;
    }
}

void choose_events(const Raw &raw, Subscription_Request &request) {
    if (raw.events.empty()) {
        return;
    }
    if (request.selection == Selection::sites || request.selection == Selection::different_instance) {
        throw CLI::ValidationError("--events", "can be used with nodes, adapters or a network only");
    }
    read_events(raw.events, request.events);
    const bool of_nodes = request.selection == Selection::nodes || request.selection == Selection::all_nodes;
    if (!of_nodes && (request.events & HB_EVENT_HEARTBEAT) != 0) {
        throw CLI::ValidationError("--events", "heartbeat can be used with --nodes or --all-nodes only");
    }
}

Subscription_Request subscription_of(const Raw &raw) {
    Subscription_Request request;
    request.name = raw.name;
    select(raw, request);
    choose_events(raw, request);
    return request;
}

Top_Options top_options(const Raw &raw) {
    if (raw.json) {
        throw CLI::ValidationError("--json",
                                   "cannot be used with top: 'nodes', 'adapters' and 'watch' print JSON");
    }
    Top_Options options{raw.once, std::nullopt, std::nullopt};
    if (raw.width > 0) {
        options.width = static_cast<std::size_t>(raw.width);
    }
    if (raw.height > 0) {
        options.height = static_cast<std::size_t>(raw.height);
    }
    return options;
}

Arguments arguments_of(const Grammar &grammar) {
    const Raw &raw = grammar.raw;
    Arguments arguments;
    const std::string verb = grammar.app.get_subcommands().front()->get_name();
    arguments.verb = verb_of(verb);
    arguments.json = raw.json;
    if (!raw.socket.empty()) {
        arguments.socket = raw.socket;
    }
    if (arguments.verb == Verb::subscribe) {
        arguments.subscription = subscription_of(raw);
    }
    if (arguments.verb == Verb::wait) {
        arguments.wait = wait_condition(raw.wait_or_check);
    }
    if (arguments.verb == Verb::top) {
        arguments.top = top_options(raw);
    }
    if (arguments.verb == Verb::check && raw.json) {
        throw CLI::ValidationError("--json", "cannot be used with check: 'status' prints JSON");
    }
    arguments.thresholds = thresholds(raw.wait_or_check);
    if (raw.json && (raw.no_headers || !raw.columns.empty() || raw.short_lines || raw.dates)) {
        throw CLI::ValidationError("--json", "cannot be used with options for text");
    }
    arguments.table = raw.table;
    arguments.table.headings = !raw.no_headers;
    arguments.control = control_arguments(verb, raw.control);
    if (raw.count > 0) {
        arguments.limits.count = raw.count;
    }
    if (raw.timeout > 0) {
        arguments.patience = common::patience_of(raw.timeout);
        arguments.limits.timeout = arguments.patience;
    }
    arguments.limits.wait = raw.wait;
    if (!raw.output.empty()) {
        arguments.output = raw.output;
    }
    arguments.limits.dates = raw.dates;
    arguments.limits.short_lines = raw.short_lines;
    if (!raw.command.empty()) {
        arguments.limits.command = raw.command;
    }
    arguments.limits.reconnect = !raw.no_reconnect;
    if (raw.migrate_after >= 0) {
        arguments.limits.migrate_after = static_cast<std::uint64_t>(raw.migrate_after);
    }
    return arguments;
}

// CLI11 reports a missing verb before it checks the word in the verb's place.
std::string unknown_verb(const CLI::App &app) {
    const std::vector<std::string> left = app.remaining();
    return app.get_subcommands().empty() && !left.empty() ? left.front() : "";
}

Parsed misuse(const CLI::App &app, const std::string &complaint) {
    Parsed parsed;
    parsed.exit_status = STATUS_USAGE;
    parsed.complaint = "hbctl: " + complaint;
    if (app.got_subcommand("check")) {
        // A monitoring system reads one line of standard output only, and the usual status means CRITICAL to it.
        const std::string line = complaint.substr(0, complaint.find('\n'));
        parsed.exit_status = static_cast<int>(Health::unknown);
        parsed.output = terminal::printable(health_text(Health::unknown, line)) + "\n";
    }
    return parsed;
}

} // namespace

Parsed parse_arguments(int argc, const char *const *argv) {
    Grammar grammar;
    Parsed parsed;
    try {
        grammar.app.parse(argc, argv);
        parsed.arguments = arguments_of(grammar);
    } catch (const CLI::ParseError &error) {
        const std::string unknown = unknown_verb(grammar.app);
        if (!unknown.empty()) {
            return misuse(grammar.app, common::unknown_word_line("hbctl", unknown) + "\n");
        }
        if (error.get_name() == "RequiredError" && grammar.app.get_subcommands().empty()) {
            return misuse(grammar.app, common::no_command_line("hbctl") + "\n");
        }
        if (error.get_exit_code() != 0 && grammar.app.got_subcommand("wait")) {
            const std::string unfit = complaint_about_subject(*grammar.app.get_subcommand("wait"));
            if (!unfit.empty()) {
                return misuse(grammar.app, unfit + "\n");
            }
        }
        std::ostringstream output;
        std::ostringstream complaint;
        if (grammar.app.exit(error, output, complaint) != 0) {
            return misuse(grammar.app, complaint.str());
        }
        parsed.output = output.str();
    }
    return parsed;
}

} // namespace hbctl
