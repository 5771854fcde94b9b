// SPDX-License-Identifier: Apache-2.0
// Commands to the daemon from a person, a script or a timeline. The verbs and their arguments are the same in
// wispctl, on the control socket and in a timeline.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>

#include "cluster/cluster.h"
#include "cluster/node_request.h"

namespace wispd {

enum class Verb {
    node_up,
    node_down,
    node_join,
    node_leave,
    adapter_up,
    adapter_down,
    adapter_join,
    adapter_leave,
    reconfigure,
    heartbeat,
    ffdc,
    foreign_instance,
    node_may_be_down,
    adapter_may_be_down,
    swap_adapters,
    rotate_key,
    play,
    log_level,
    stop,
    state
};

struct Command {
    Verb verb = Verb::state;
    int node = -1;
    int64_t adapter = -1;
    std::optional<Hb_IP_address6> address;
    std::optional<std::string> type;
    std::string config;   // empty: the file that the daemon was started with
    std::string timeline; // empty: the configured timeline
    std::optional<int32_t> threshold_seconds;
    std::optional<int32_t> threshold_microseconds;
    std::optional<bool> enabled;
    std::string id; // empty: create an identifier
    Hb_Config_Instance instance = 0;
    std::string level; // of the log
};

using Argument = std::variant<int64_t, bool, std::string>;
using Arguments = std::map<std::string, Argument, std::less<>>;

// The error for a verb or argument that is unknown, is missing, or has the wrong type.
class Command_Error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

Command make_command(const std::string &verb, const Arguments &arguments);

const char *verb_name(Verb verb);

// Returns the client request with the same effect as the command; empty for verbs without such a request.
// Throws Refused.
std::optional<Node_Request> node_request_of(const Command &command, const Cluster &cluster);

// Applies a command that concerns only the cluster. Excluded are node requests, reconfigure, ffdc without an
// id, rotate-key, play, log-level, stop and state. Throws Refused.
Changes apply(const Command &command, Cluster &cluster);

} // namespace wispd
