// The command line.
#pragma once

#include "tools/control_request.h"
#include "tools/subscription.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace hbctl {

enum class Verb {
    status,
    nodes,
    networks,
    adapters,
    sites,
    watch,
    subscribe,
    route,
    keys,
    adapter_state,
    multicast,
    control
};

struct RouteQuery {
    int node = 0;
    bool shared = false;  // from shared memory instead of the daemon
    bool ip_only = false; // from shared memory too
};

struct MulticastRequest {
    int port = 0;
    std::vector<int> nodes;
    std::optional<std::string> text; // none: standard input
};

struct WatchLimits {
    std::optional<std::uint64_t> count;               // of events
    std::optional<std::chrono::milliseconds> timeout; // for the whole command
    bool reconnect = true;
};

struct Arguments {
    Verb verb = Verb::status;
    bool json = false;
    std::optional<std::string> socket;
    SubscriptionRequest subscription; // of the verb subscribe
    WatchLimits limits;               // of watch and subscribe
    RouteQuery route;
    std::optional<std::uint32_t> adapter; // of adapter-state; none: every local one
    MulticastRequest multicast;
    ControlRequest control;
};

constexpr int exit_success = 0;
constexpr int exit_failure = 1;
constexpr int exit_usage = 2;

// Either arguments to act on, or texts to print and the status to exit with (help, version, misuse).
struct Parsed {
    std::optional<Arguments> arguments;
    int exit_status = exit_success;
    std::string output;
    std::string complaint;
};

Parsed parse_arguments(int argc, const char *const *argv);

} // namespace hbctl
