// SPDX-License-Identifier: Apache-2.0
// The command line.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/no_answer.h"
#include "tools/hbctl/control_arguments.h"
#include "tools/hbctl/health.h"
#include "tools/hbctl/subscription.h"
#include "tools/hbctl/wait_condition.h"

namespace hbctl {

enum class Verb {
    status,
    nodes,
    networks,
    adapters,
    sites,
    watch,
    migrate,
    subscribe,
    top,
    route,
    keys,
    adapter_state,
    wait,
    check,
    report,
    multicast,
    control
};

struct Watch_Limits {
    std::optional<std::uint64_t> count;               // of events
    std::optional<std::chrono::milliseconds> timeout; // for the whole command
    bool reconnect = true;
    bool wait = false;                          // for a daemon that does not listen yet
    std::optional<std::uint64_t> migrate_after; // events; of watch only
    std::optional<std::string> command;         // to run for each event, instead of a line
    bool dates = false;                         // in each line
    bool short_lines = false;
};

struct Table_Choice {
    bool headings = true;
    std::vector<std::string> columns; // empty: all
};

struct Top_Options {
    bool once = false;
    std::optional<std::size_t> width;  // columns; none: those of the terminal
    std::optional<std::size_t> height; // rows; likewise
};

struct Arguments {
    Verb verb = Verb::status;
    bool json = false;
    std::optional<std::string> socket;
    std::chrono::milliseconds patience = common::DEFAULT_PATIENCE; // with the daemon
    Subscription_Request subscription;                             // of the verb subscribe
    Watch_Limits limits;                                           // of watch, subscribe and top
    Top_Options top;
    Wait_Condition wait;
    Thresholds thresholds;             // of check
    Table_Choice table;                // of the verbs that list
    Control_Arguments control;         // of the verbs after subscribe
    std::optional<std::string> output; // of report: the file
};

constexpr int STATUS_SUCCESS = 0;
constexpr int STATUS_FAILURE = 1;
constexpr int STATUS_USAGE = 2;
constexpr int STATUS_EXPIRED = 3; // of wait

// Either arguments to act on, or text to print and the exit status (help, version, misuse).
struct Parsed {
    std::optional<Arguments> arguments;
    int exit_status = STATUS_SUCCESS;
    std::string output;
    std::string complaint;
};

Parsed parse_arguments(int argc, const char *const *argv);

} // namespace hbctl
