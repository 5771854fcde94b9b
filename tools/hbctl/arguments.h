// The command line.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "tools/hbctl/control_arguments.h"
#include "tools/hbctl/subscription.h"

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

struct Watch_Limits {
    std::optional<std::uint64_t> count;               // of events
    std::optional<std::chrono::milliseconds> timeout; // for the whole command
    bool reconnect = true;
    std::optional<std::uint64_t> migrate_after; // events; of watch only
};

struct Arguments {
    Verb verb = Verb::status;
    bool json = false;
    std::optional<std::string> socket;
    Subscription_Request subscription; // of the verb subscribe
    Watch_Limits limits;               // of watch and subscribe
    Control_Arguments control;         // of the verbs after subscribe
};

constexpr int STATUS_SUCCESS = 0;
constexpr int STATUS_FAILURE = 1;
constexpr int STATUS_USAGE = 2;

// Either arguments to act on, or text to print and the exit status (help, version, misuse).
struct Parsed {
    std::optional<Arguments> arguments;
    int exit_status = STATUS_SUCCESS;
    std::string output;
    std::string complaint;
};

Parsed parse_arguments(int argc, const char *const *argv);

} // namespace hbctl
