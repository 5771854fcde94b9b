// SPDX-License-Identifier: Apache-2.0
// The requests beyond configuration and subscriptions: their bytes, the permission that each needs, and the
// answer.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "cluster/node_request.h"
#include "daemon/publisher/record_reader.h"

namespace wispd {

// The content of a request's body.
enum class Body_Form {
    number_as_length, // the number is the length; the bytes mean nothing
    network,
    network_and_address,
    network_and_seconds,
    seconds,
    sequence,
    name, // without a terminating NUL; may be empty
    multicast,
    nothing
};

struct Request_Rule {
    Hb_Client_Request kind;
    const char *name; // shown in the log
    bool acts;        // acts on the node, which needs permission
    Body_Form form;
    std::optional<Hb_Client_Reply> answer;
    Request_Status when_not_permitted; // the status in the answer
};

// Returns null if the request code has no rule or is not served.
const Request_Rule *rule_of(int32_t kind);

// Reads a request of one of the first five forms, or with a name or no body. Returns nothing if the body is
// invalid; `fault` then states the reason.
std::optional<Node_Request> read_node_request(const Request_Rule &rule, std::span<const char> body,
                                              std::string &fault);

// Reads the number that a client's heartbeat carries.
std::optional<uint32_t> read_sequence(std::span<const char> body, std::string &fault);

struct Multicast {
    uint16_t port = 0;
    int32_t ttl = 0;
    bool daemons_only = false;
    std::vector<int> nodes;
    std::vector<char> payload;
};

std::optional<Multicast> read_multicast(std::span<const char> body, std::string &fault);

// Describes the request and its arguments for the log, such as "interface down (network 1)".
std::string description(const Request_Rule &rule, std::span<const char> body);

} // namespace wispd
