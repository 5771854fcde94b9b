// What a person, a script or a timeline tells the daemon to do. The verbs and their arguments are the same in
// wispctl, on the control socket and in a timeline.
#pragma once

#include <cstdint>
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
    std::string timeline; // empty: the one that the configuration names
    std::optional<int32_t> threshold_seconds;
    std::optional<int32_t> threshold_microseconds;
    std::optional<bool> enabled;
    std::string id; // empty: make one
    Hb_Config_Instance instance = 0;
};

using Argument = std::variant<int64_t, bool, std::string>;
using Arguments = std::map<std::string, Argument>;

// A verb or argument that does not exist, is missing, or is of the wrong kind.
class Command_Error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

Command make_command(const std::string &verb, const Arguments &arguments);

const char *verb_name(Verb verb);

// What a client would ask for to the same end; empty for the verbs that clients have no request for. Throws
// Refused.
std::optional<Node_Request> node_request_of(const Command &command, const Cluster &cluster);

// Applies a command that concerns the cluster alone: every verb but those that are node requests, reconfigure,
// ffdc without an id, rotate-key, play, stop and state. Throws Refused.
Changes apply(const Command &command, Cluster &cluster);

} // namespace wispd
