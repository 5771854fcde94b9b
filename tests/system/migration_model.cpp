// SPDX-License-Identifier: Apache-2.0
#include "tests/system/migration_model.h"

#include <algorithm>
#include <ostream>
#include <sstream>

#include <gtest/gtest.h>

namespace hb_test {
namespace {

using Members = std::set<unsigned>;
using Events = std::vector<std::string>;

void set_up(Members &members, unsigned member, bool up) {
    up ? static_cast<void>(members.insert(member)) : static_cast<void>(members.erase(member));
}

Members without(const Members &all, const Members &others) {
    Members left;
    std::set_difference(all.begin(), all.end(), others.begin(), others.end(), std::inserter(left, left.end()));
    return left;
}

Members common(const Members &one, const Members &other) {
    return without(one, without(one, other));
}

std::string event(bool up, const char *name, const Members &members) {
    std::string text = std::string(up ? "join " : "death ") + name;
    for (const unsigned member : members) {
        text += " " + std::to_string(member);
    }
    return text;
}

} // namespace

void PrintTo(const Who_Is_Up &who, std::ostream *out) {
    *out << "nodes";
    for (const unsigned node : who.nodes) {
        *out << " " << node;
    }
    *out << " adapters";
    for (const unsigned adapter : who.adapters) {
        *out << " " << adapter;
    }
}

Members adapters_of(unsigned node) {
    return {node * SLOTS, node * SLOTS + 1};
}

std::string Change::command() const {
    const std::string what = of == Of::node ? "node" : "adapter";
    return R"({"do":")" + what + (up ? "-up" : "-down") + R"(",")" + what + R"(":)" + std::to_string(number) +
           "}";
}

void Change::make_in(Who_Is_Up &who) const {
    if (of == Of::adapter) {
        set_up(who.adapters, number, up);
        return;
    }
    set_up(who.nodes, number, up);
    for (const unsigned adapter : adapters_of(number)) {
        set_up(who.adapters, adapter, up);
    }
}

// ---- Migration_Model ----

void Migration_Model::daemon_tells(const Change &change) {
    const bool is_node = change.of == Change::Of::node;
    const Members adapters = is_node ? adapters_of(change.number) : Members{change.number};
    waiting_.push_back({event(change.up, "a", adapters), {}, adapters, change.up});
    if (is_node) {
        waiting_.push_back({event(change.up, "n", {change.number}), {change.number}, {}, change.up});
    }
}

void Migration_Model::service_tells(const Change &change) {
    change.make_in(service_);
    if (watching_) {
        (change.of == Change::Of::node ? node_records_ : adapter_records_).push_back(change);
    }
}

void Migration_Model::give_up() {
    watching_ = false;
    node_records_.clear();
    adapter_records_.clear();
}

// The daemon's unread events are lost with its connection. The daemon has also reported the changes behind the
// service's events so far. In place of both, the difference of the two tables is reported. The table changes
// with the configuration event.
void Migration_Model::commit() {
    waiting_.clear();
    node_records_.clear();
    adapter_records_.clear();
    report_difference(false, table_, service_);
    waiting_.push_back({"configuration", {}, {}, false, true});
    report_difference(true, service_, table_);
    working_table_ = service_;
}

// These events do not change the table: it changes as a whole.
void Migration_Model::report_difference(bool up, const Who_Is_Up &one, const Who_Is_Up &other) {
    const Members nodes = without(one.nodes, other.nodes);
    const Members adapters = without(one.adapters, other.adapters);
    if (!adapters.empty() && !up) {
        waiting_.push_back({event(up, "a", adapters), {}, {}});
    }
    if (!nodes.empty()) {
        waiting_.push_back({event(up, "n", nodes), {}, {}});
    }
    if (!adapters.empty() && up) {
        waiting_.push_back({event(up, "a", adapters), {}, {}});
    }
}

Events Migration_Model::read(std::size_t count) {
    Events events;
    for (; count > 0; --count) {
        const Waiting next = waiting_.front();
        waiting_.pop_front();
        events.push_back(next.event);
        for (const unsigned node : next.nodes) {
            set_up(table_.nodes, node, next.up);
        }
        for (const unsigned adapter : next.adapters) {
            set_up(table_.adapters, adapter, next.up);
        }
        if (next.brings_table) {
            table_ = working_table_;
        }
    }
    return events;
}

Migration_Model::Rest Migration_Model::read_rest() {
    Rest rest;
    for (const Change &record : node_records_) {
        if (record.up != table_.nodes.contains(record.number)) {
            record.up ? node_came_up(record.number, rest.of_nodes) : node_died(record.number, rest.of_nodes);
        }
    }
    for (const Change &record : adapter_records_) {
        if (record.up != table_.adapters.contains(record.number)) {
            record.make_in(table_);
            rest.of_adapters.push_back(event(record.up, "a", {record.number}));
        }
    }
    node_records_.clear();
    adapter_records_.clear();
    return rest;
}

void Migration_Model::node_died(unsigned node, Events &events) {
    const Members died = common(table_.adapters, adapters_of(node));
    if (!died.empty()) {
        events.push_back(event(false, "a", died));
    }
    events.push_back(event(false, "n", {node}));
    events.emplace_back("configuration");
    Change{Change::Of::node, node, false}.make_in(table_);
}

void Migration_Model::node_came_up(unsigned node, Events &events) {
    events.push_back(event(true, "n", {node}));
    events.emplace_back("configuration");
    events.push_back(event(true, "a", adapters_of(node)));
    Change{Change::Of::node, node, true}.make_in(table_);
}

// ---- Client_View ----

void Client_View::take(const std::string &event) {
    SCOPED_TRACE(event);
    std::istringstream words(event);
    std::string kind;
    std::string name;
    words >> kind >> name;
    Members &members = name == "n" ? who_.nodes : who_.adapters;
    for (unsigned member = 0; words >> member;) {
        change(members, member, kind != "death");
    }
}

void Client_View::change(Members &members, unsigned member, bool up) {
    EXPECT_NE(up, members.contains(member)) << member << (up ? " comes up twice" : " dies twice");
    set_up(members, member, up);
}

std::string in_short(const std::string &line) {
    std::istringstream words(line);
    std::string event;
    std::string sequence;
    std::string kind;
    std::string name;
    std::string what;
    words >> event >> sequence >> kind >> name >> what;
    if (event != "event") {
        return line;
    }
    if (kind == "kind-0") {
        return "";
    }
    if (kind == "configuration") {
        return kind;
    }
    std::string text = kind + " " + name;
    // The members come first, each with its further data after an @.
    for (std::string word; words >> word && word[0] >= '0' && word[0] <= '9';) {
        text += " " + word.substr(0, word.find('@'));
    }
    return text;
}

} // namespace hb_test
