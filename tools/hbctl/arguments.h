// The command line.
#pragma once

#include "tools/hbctl/control_arguments.h"
#include "tools/hbctl/subscription.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

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
    route,
    keys,
    adapter_state,
    multicast,
    control
};

struct WatchLimits {
    std::optional<std::uint64_t> count;               // of events
    std::optional<std::chrono::milliseconds> timeout; // for the whole command
    bool reconnect = true;
    std::optional<std::uint64_t> migrate_after; // events; of watch only
};

struct Arguments {
    Verb verb = Verb::status;
    bool json = false;
    std::optional<std::string> socket;
    SubscriptionRequest subscription; // of the verb subscribe
    WatchLimits limits;               // of watch and subscribe
    ControlArguments control;         // of the verbs after subscribe
};

constexpr int exit_success = 0;
constexpr int exit_failure = 1;
constexpr int exit_usage = 2;

// Either arguments to act on, or text to print and the exit status (help, version, misuse).
struct Parsed {
    std::optional<Arguments> arguments;
    int exit_status = exit_success;
    std::string output;
    std::string complaint;
};

Parsed parse_arguments(int argc, const char *const *argv);

} // namespace hbctl
