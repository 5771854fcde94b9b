// SPDX-License-Identifier: Apache-2.0
// What an agent of the gossip engine Serf reports about its network: plain data.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "hb_client.h"

namespace wispd {

// A member of a gossip network. Its texts are foreign bytes: print them only through terminal::printable().
struct Serf_Member {
    enum class Status { alive, leaving, left, failed, none }; // none: an unknown word

    std::string name;         // not empty, at most 255 bytes
    Hb_IP_address6 address{}; // IPv4 mapped; all zero: none
    Status status = Status::none;
    std::optional<std::string> node_tag; // the tag hb_node
};

struct Serf_Report {
    enum class Kind { all, join, leave, failed, update, reap }; // all: the answer to a question for all members

    Kind kind = Kind::all;
    std::vector<Serf_Member> members;
};

// How many members an agent counts.
struct Serf_Counts {
    std::string agent; // the agent's own name: foreign bytes
    unsigned members = 0;
    unsigned failed = 0;
    unsigned left = 0;
};

} // namespace wispd
