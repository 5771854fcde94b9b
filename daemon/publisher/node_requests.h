// The requests beyond configuration and subscriptions: what bytes each has, who may send it, how it is
// answered.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "cluster/node_request.h"
#include "daemon/publisher/record_reader.h"

namespace wispd {

// What a request's body holds.
enum class Body_Form {
    number_as_length, // the number is the length; the bytes mean nothing
    network,
    network_and_address,
    network_and_seconds,
    seconds,
    sequence,
    name, // without an end; may be empty
    multicast,
    nothing
};

struct Request_Rule {
    Hb_Client_Request kind;
    const char *name; // for people
    bool acts;        // on the node, which not everybody may
    Body_Form form;
    std::optional<Hb_Client_Reply> answer;
    Request_Status when_not_permitted; // the status in the answer
};

// Null for a request that has none, or is not served.
const Request_Rule *rule_of(int32_t kind);

// A request of one of the first five forms, or of a name or nothing. Empty when the body is not as it must
// be; `fault` then says why.
std::optional<Node_Request> read_node_request(const Request_Rule &rule, std::span<const char> body,
                                              std::string &fault);

// The number that a client's heartbeat carries.
std::optional<uint32_t> read_sequence(std::span<const char> body, std::string &fault);

struct Multicast {
    uint16_t port = 0;
    int32_t ttl = 0;
    bool daemons_only = false;
    std::vector<int> nodes;
    std::vector<char> payload;
};

std::optional<Multicast> read_multicast(std::span<const char> body, std::string &fault);

} // namespace wispd
