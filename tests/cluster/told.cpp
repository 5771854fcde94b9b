// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/told.h"

#include <sstream>

namespace hb_test {
namespace {

using Kind = Told::Kind;

Kind kind_of(const std::string &word) {
    static const std::map<std::string, Kind> kinds = {
        {"connected", Kind::connected}, {"lost", Kind::lost},
        {"trouble", Kind::trouble},     {"configuration", Kind::configuration},
        {"account", Kind::account},     {"death", Kind::death},
        {"join", Kind::join},           {"ffdc", Kind::failure},
    };
    const auto found = kinds.find(word);
    return found == kinds.end() ? Kind::other : found->second;
}

unsigned number_in(const std::string &text) {
    return static_cast<unsigned>(std::stoul(text));
}

// "96@3-removed", or a plain number.
void add_member(Told &told, const std::string &word) {
    const unsigned member = number_in(word);
    const std::size_t at = word.find('@');
    told.members[member] = at == std::string::npos ? 0 : number_in(word.substr(at + 1));
    if (word.ends_with("-removed")) {
        told.removed.insert(member);
    }
}

void read_members(Told &told, std::istream &words) {
    std::string word;
    words >> word;
    told.of_nodes = word == "nodes";
    while (words >> word && word != "id") {
        add_member(told, word);
    }
    words >> told.id;
}

void read_configuration(Told &told, std::istream &words) {
    std::string word;
    words >> word;
    while (words >> word && word != "adapters") {
        told.nodes.insert(number_in(word));
    }
    while (words >> word) {
        told.addresses[number_in(word)] = word.substr(word.find('=') + 1);
    }
}

} // namespace

Told told_by(const std::string &line) {
    Told told;
    told.line = line;
    std::istringstream words(line);
    std::string word;
    words >> told.at >> word;
    if (word == "event") {
        words >> told.sequence >> word;
    }
    told.kind = kind_of(word);
    if (told.kind == Kind::connected) {
        words >> told.local_node;
    } else if (told.kind == Kind::configuration) {
        read_configuration(told, words);
    } else if (told.kind == Kind::account || told.kind == Kind::death || told.kind == Kind::join) {
        read_members(told, words);
    } else if (told.kind == Kind::failure) {
        words >> told.id;
    }
    return told;
}

// ---- Told_Table ----

std::set<unsigned> Told_Table::adapters() const {
    std::set<unsigned> all;
    for (const auto &[adapter, incarnation] : adapters_) {
        all.insert(adapter);
    }
    return all;
}

void Told_Table::object(const Told &told, const std::string &what) {
    objections_.push_back(what + ": " + told.line);
}

void Told_Table::take(const Told &told) {
    check_sequence(told);
    switch (told.kind) {
    case Kind::connected:
        connect(told);
        break;
    case Kind::lost:
        connected_ = false;
        break;
    case Kind::trouble:
        object(told, "trouble");
        break;
    case Kind::configuration:
        configure(told);
        break;
    case Kind::account:
        account(told);
        break;
    case Kind::death:
        die(told);
        break;
    case Kind::join:
        join(told);
        break;
    case Kind::failure:
    case Kind::other:
        break;
    }
    check_whole(told);
}

void Told_Table::check_sequence(const Told &told) {
    if (told.sequence == 0) {
        return;
    }
    if (!connected_) {
        object(told, "an event without a connection");
    }
    if (told.sequence != sequence_ + 1) {
        object(told, "the event after number " + std::to_string(sequence_));
    }
    sequence_ = told.sequence;
}

// A new connection begins with a new state. The incarnations of a restarted daemon may begin again as well.
void Told_Table::connect(const Told &told) {
    connected_ = true;
    local_node_ = told.local_node;
    sequence_ = 0;
    has_nodes_ = has_adapters_ = false;
    nodes_.clear();
    adapters_.clear();
    highest_.clear();
    removed_.clear();
}

void Told_Table::configure(const Told &told) {
    configured_nodes_ = told.nodes;
    configured_adapters_.clear();
    for (const auto &[adapter, address] : told.addresses) {
        configured_adapters_.insert(adapter);
    }
    for (const unsigned adapter : removed_) {
        if (configured_adapters_.count(adapter) != 0) {
            object(told, "adapter " + std::to_string(adapter) + " died as removed and is still configured");
        }
    }
    removed_.clear();
}

void Told_Table::account(const Told &told) {
    bool &has = told.of_nodes ? has_nodes_ : has_adapters_;
    if (has) {
        object(told, "a second account");
    }
    has = true;
    if (told.of_nodes) {
        for (const auto &[node, none] : told.members) {
            nodes_.insert(node);
        }
    } else {
        adapters_ = told.members;
        highest_ = told.members;
    }
}

void Told_Table::die(const Told &told) {
    check_failure(told);
    if (told.members.empty()) {
        object(told, "nobody's death");
    }
    for (const auto &[member, incarnation] : told.members) {
        if (told.of_nodes) {
            if (member == local_node_) {
                object(told, "the local node's death");
            }
            if (nodes_.erase(member) == 0) {
                object(told, "death of node " + std::to_string(member) + ", which was not up");
            }
            continue;
        }
        const auto known = adapters_.find(member);
        if (known == adapters_.end()) {
            object(told, "death of adapter " + std::to_string(member) + ", which was not up");
        } else if (known->second != incarnation) {
            object(told, "death of another incarnation than " + std::to_string(known->second));
        }
        adapters_.erase(member);
    }
    removed_.insert(told.removed.begin(), told.removed.end());
}

// The library passes on the identifier of each node death; all identifiers differ.
void Told_Table::check_failure(const Told &told) {
    if (told.of_nodes && told.id.empty() && !departures_) {
        object(told, "a death without a failure identifier");
    } else if (told.of_nodes && !told.id.empty() && !ids_.insert(told.id).second) {
        object(told, "the failure identifier of another death");
    }
}

void Told_Table::join(const Told &told) {
    if (told.members.empty()) {
        object(told, "nobody's join");
    }
    for (const auto &[member, incarnation] : told.members) {
        if (told.of_nodes) {
            if (!nodes_.insert(member).second) {
                object(told, "join of node " + std::to_string(member) + ", which was up");
            }
            continue;
        }
        if (!adapters_.emplace(member, incarnation).second) {
            object(told, "join of adapter " + std::to_string(member) + ", which was up");
        }
        const auto highest = highest_.find(member);
        if (highest != highest_.end() && incarnation <= highest->second) {
            object(told, "join of an incarnation that is not above " + std::to_string(highest->second));
        }
        highest_[member] = incarnation;
    }
}

// Adapters die and join before their nodes, so adapters without a node exist only between the two events.
void Told_Table::check_whole(const Told &told) {
    if (!has_nodes_ || !has_adapters_ || told.is(Kind::join, false)) {
        return;
    }
    const bool may_be_unconfigured = told.kind == Kind::death;
    for (const auto &[adapter, incarnation] : adapters_) {
        if (nodes_.count(node_of_adapter(adapter)) == 0) {
            object(told, "adapter " + std::to_string(adapter) + " is up and its node is not");
        }
        if (!may_be_unconfigured && configured_adapters_.count(adapter) == 0) {
            object(told, "adapter " + std::to_string(adapter) + " is up and not configured");
        }
    }
    for (const unsigned node : nodes_) {
        if (!may_be_unconfigured && configured_nodes_.count(node) == 0) {
            object(told, "node " + std::to_string(node) + " is up and not configured");
        }
    }
}

} // namespace hb_test
