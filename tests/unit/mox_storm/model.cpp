// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/mox_storm/model.h"

#include <algorithm>
#include <cstring>
#include <ostream>

namespace hb_test {
namespace {

using mox_sim::Event_Record;
using mox_sim::Operation;

constexpr unsigned PER_NODE = 48;

int node_of(const Model_Adapter &adapter) {
    return static_cast<int>(adapter.number / PER_NODE);
}

std::string bytes_of(const qz_mox_IP_address6_t &address) {
    char bytes[16];
    std::memcpy(bytes, &address, sizeof bytes);
    return std::string(bytes, sizeof bytes);
}

// The adapters that are up in one table and not in the other, by number.
std::vector<unsigned> adapters_missing(const Model_Table &from, const Model_Table &in) {
    std::vector<unsigned> missing;
    for (const Model_Adapter &a : from.adapters) {
        const auto b = std::find_if(in.adapters.begin(), in.adapters.end(), [&](const Model_Adapter &other) {
            return node_of(other) == node_of(a) && other.name == a.name && other.address == a.address;
        });
        if (a.state == State::up && (b == in.adapters.end() || b->state != State::up)) {
            missing.push_back(a.number);
        }
    }
    std::sort(missing.begin(), missing.end());
    return missing;
}

std::vector<int> nodes_missing(const Model_Table &from, const Model_Table &in) {
    std::vector<int> missing;
    for (const Model_Node &node : from.nodes) {
        const bool known = std::any_of(in.nodes.begin(), in.nodes.end(),
                                       [&](const Model_Node &other) { return other.number == node.number; });
        if (node.state == State::up && !known) {
            missing.push_back(node.number);
        }
    }
    std::sort(missing.begin(), missing.end());
    return missing;
}

// The nodes that both tables contain and that are up in one and down in the other.
std::vector<int> nodes_down_in(const Model_Table &from, const Model_Table &in) {
    std::vector<int> down;
    for (const Model_Node &node : from.nodes) {
        const bool is_down = std::any_of(in.nodes.begin(), in.nodes.end(), [&](const Model_Node &other) {
            return other.number == node.number && other.state == State::down;
        });
        if (node.state == State::up && is_down) {
            down.push_back(node.number);
        }
    }
    return down;
}

void add_sorted(std::vector<int> &to, const std::vector<int> &more) {
    to.insert(to.end(), more.begin(), more.end());
    std::sort(to.begin(), to.end());
}

bool is_of(const mox_sim::Interface &interface, const Model_Adapter &adapter) {
    return static_cast<int>(interface.node) == node_of(adapter) &&
           interface.name.value_or("") == adapter.name && bytes_of(interface.address) == adapter.address;
}

bool is_up_in(const Model_Table &table, const Model_Adapter &adapter) {
    return std::any_of(table.adapters.begin(), table.adapters.end(), [&](const Model_Adapter &other) {
        return node_of(other) == node_of(adapter) && other.name == adapter.name &&
               other.address == adapter.address && other.state == State::up;
    });
}

Taken failed(int error) {
    return {Hb_Failure, error, -1, "", {}, {}, 77};
}

} // namespace

void PrintTo(const Model_Table &table, std::ostream *out) {
    for (const Model_Node &node : table.nodes) {
        *out << " node " << node.number << " state " << static_cast<int>(node.state) << " reason "
             << static_cast<int>(node.reason);
    }
    for (const Model_Adapter &adapter : table.adapters) {
        *out << " adapter " << adapter.number << " " << adapter.name << " state "
             << static_cast<int>(adapter.state);
    }
}

const char *monitor_of(Source source) {
    static const char *const names[SOURCES] = {"adapter_liveness", nullptr, "node_liveness", "node_list",
                                               "peer_gs_liveness", nullptr, "ip_change",     "cluster_reconfig",
                                               "site_cfg"};
    return names[static_cast<int>(source)];
}

// ---- Changes of the cluster ----

void Model::open(const std::string &node_name, const std::string &adapter_name) {
    live_ = *build({}, std::nullopt, -1);
    node_name_ = node_name;
    adapter_name_ = adapter_name;
}

void Model::pushed(Source source, const Event_Record &event) {
    pending_[source].push_back({0, event});
}

void Model::pushed_result(Source source, int result) {
    pending_[source].push_back({result, {}});
}

void Model::will_fail(Operation operation) {
    failing_.insert(operation);
}

void Model::message_from(int node) {
    queue({Queued::Kind::message, 2, {node}, {}, {}});
    wake();
}

void Model::subscribed_nodes(const std::string &name) {
    node_name_ = name;
    requests_.push_back(1);
}

void Model::subscribed_adapters(const std::string &name) {
    adapter_name_ = name;
    requests_.push_back(2);
}

// ---- The service ----

bool Model::fails(Operation operation) {
    return failing_.erase(operation) > 0;
}

// Every node, or only one node, with the others as in the current table.
std::optional<Model_Table> Model::build(const Model_Table &current, std::optional<Source> about,
                                        int only_node) {
    const bool nodes_after = about == Source::node_liveness || about == Source::node_list;
    const bool interfaces_after = about == Source::adapter_liveness || about == Source::ip_change;
    if (fails(Operation::get_cluster_info)) {
        error_ = 63;
        return std::nullopt;
    }
    if (fails(nodes_after ? Operation::get_node_info_after_event : Operation::get_node_info)) {
        error_ = 64;
        return std::nullopt;
    }
    if (fails(interfaces_after ? Operation::get_net_intf_info_after_event : Operation::get_net_intf_info)) {
        error_ = 65;
        return std::nullopt;
    }
    Model_Table built;
    if (only_node >= 0) {
        for (const Model_Node &node : current.nodes) {
            if (node.number != only_node) {
                built.nodes.push_back(node);
            }
        }
        for (const Model_Adapter &adapter : current.adapters) {
            if (node_of(adapter) != only_node) {
                built.adapters.push_back(adapter);
            }
        }
    }
    for (const mox_sim::Node &node : service_.nodes()) {
        const int number = static_cast<int>(node.number);
        if (only_node >= 0 && number != only_node) {
            continue;
        }
        Model_Table before = current;
        const Model_Node *const was = find(before, number);
        const bool reported =
            was != nullptr && was->state == State::down && was->reason == Reason::reported_down;
        Model_Node taken{number, State::undefined, was != nullptr ? was->reason : Reason::down};
        if (node.status == QZ_MOX_NODE_STATUS_DOWN) {
            taken = {number, State::down, Reason::down};
        } else if (reported) {
            taken = *was;
        } else if (node.status == QZ_MOX_NODE_STATUS_UP) {
            taken = {number, State::up, Reason::up};
        } else {
            error_ = 70;
        }
        built.nodes.push_back(taken);
    }
    if (Model_Node *const local = find(built, 1); local != nullptr && local->state != State::up) {
        *local = {1, State::up, Reason::up};
    }
    std::map<uint32_t, unsigned> used;
    for (const mox_sim::Interface &interface : service_.interfaces()) {
        if (only_node >= 0 && static_cast<int>(interface.node) != only_node) {
            continue;
        }
        State state = State::undefined;
        if (interface.status == QZ_MOX_INTF_STATUS_UP) {
            state = State::up;
        } else if (interface.status == QZ_MOX_INTF_STATUS_DOWN) {
            state = State::down;
        } else {
            error_ = 71;
        }
        built.adapters.push_back({interface.node * PER_NODE + used[interface.node]++,
                                  interface.name.value_or(""), bytes_of(interface.address), state});
    }
    present_.clear();
    for (const Model_Node &node : built.nodes) {
        present_.insert(node.number);
    }
    return built;
}

std::vector<unsigned> Model::up_interfaces() const {
    std::map<uint32_t, unsigned> used;
    std::vector<unsigned> up;
    for (const mox_sim::Interface &interface : service_.interfaces()) {
        const unsigned number = interface.node * PER_NODE + used[interface.node]++;
        if (interface.status == QZ_MOX_INTF_STATUS_UP) {
            up.push_back(number);
        }
    }
    std::sort(up.begin(), up.end());
    return up;
}

Model_Node *Model::find(Model_Table &table, int node) {
    const auto found = std::find_if(table.nodes.begin(), table.nodes.end(),
                                    [&](const Model_Node &known) { return known.number == node; });
    return found != table.nodes.end() ? &*found : nullptr;
}

// ---- Queue and tables ----

void Model::queue(const Queued &event) {
    if (event.kind == Queued::Kind::marker &&
        std::any_of(queue_.begin(), queue_.end(),
                    [](const Queued &other) { return other.kind == Queued::Kind::marker; })) {
        ++markers_in_a_row;
    }
    queue_.push_back(event);
}

void Model::wake() {
    wake_ups_ += queue_.empty() ? 0 : 1;
}

void Model::queue_marker(const Model_Table &table) {
    queue({Queued::Kind::marker, 128, {}, {}, table});
}

void Model::know_nodes_of(const Model_Table &table) {
    present_.clear();
    for (const Model_Node &node : table.nodes) {
        present_.insert(node.number);
    }
}

// Returns the node's entry, and adds it if there is none.
Model_Node &Model::note(int node) {
    if (Model_Node *const known = find(live_, node)) {
        return *known;
    }
    present_.insert(node);
    return live_.nodes.emplace_back(Model_Node{node, State::undefined, Reason::down});
}

Taken Model::nothing(unsigned long sequence) const {
    return {Hb_Success, error_, 0, "<EMPTY EVENT>", {}, {}, sequence};
}

Taken Model::tell_nodes(int events, int node, unsigned long sequence) const {
    return {Hb_Success, error_, events,  node_name_.empty() ? "<EMPTY EVENT>" : node_name_,
            {node},     {},     sequence};
}

Taken Model::tell_adapters(int events, const std::vector<unsigned> &adapters) const {
    if (adapter_name_.empty()) {
        return nothing();
    }
    return {Hb_Success, error_, events, adapter_name_, {}, adapters, 0};
}

// Compares a table of the whole service with the live one.
Taken Model::update(std::optional<Source> about) {
    const std::optional<Model_Table> built = build(live_, about, -1);
    if (!built) {
        owed_ = true;
        ++outages;
        return {Hb_Failure, error_, 0, "<EMPTY EVENT>", {}, {}, 0};
    }
    const std::vector<unsigned> adapters_gone = adapters_missing(live_, *built);
    std::vector<int> nodes_gone = nodes_missing(live_, *built);
    const std::vector<unsigned> adapters_new = adapters_missing(*built, live_);
    std::vector<int> nodes_new = nodes_missing(*built, live_);
    if (owed_) {
        add_sorted(nodes_gone, nodes_down_in(live_, *built));
        add_sorted(nodes_new, nodes_down_in(*built, live_));
        ++owed_comparisons;
        owed_ = false;
    }
    const bool departed = !adapters_gone.empty() || !nodes_gone.empty();

    Taken told = nothing();
    if (!adapters_gone.empty()) {
        told = tell_adapters(1, adapters_gone);
    }
    if (!nodes_gone.empty()) {
        queue({Queued::Kind::nodes, 1, nodes_gone, {}, {}});
    }
    if (departed) {
        queue_marker(*built);
    } else {
        told = {Hb_Success, error_, 128, "Hb_Config_Group", {}, {}, 0};
        live_ = *built;
    }
    if (!nodes_new.empty()) {
        queue({Queued::Kind::nodes, 2, nodes_new, {}, {}});
    }
    if (!adapters_new.empty()) {
        queue({Queued::Kind::adapters, 2, {}, adapters_new, {}});
    }
    wake();
    return told;
}

// ---- What the client sees ----

bool Model::is_ready(Source source) const {
    switch (source) {
    case Source::event_pipe:
        return wake_ups_ > 0;
    case Source::new_group:
        return !requests_.empty();
    default: {
        const auto held = pending_.find(source);
        return held != pending_.end() && !held->second.empty();
    }
    }
}

Taken Model::take(const std::vector<Source> &ready) {
    return handle(queue_.empty() ? ready.front() : Source::event_pipe);
}

Taken Model::handle(Source source) {
    error_ = 0;
    if (source == Source::event_pipe) {
        return from_queue();
    }
    if (source == Source::new_group) {
        return new_group();
    }
    const Pending pending = pending_[source].front();
    pending_[source].pop_front();
    if (pending.result == -16) {
        return {Hb_Success, 0, 0, "", {}, {}, 77};
    }
    if (pending.result != 0) {
        return failed(0);
    }
    switch (source) {
    case Source::adapter_liveness:
        return adapter_event(pending.event);
    case Source::node_liveness:
        return node_event(pending.event);
    case Source::peer_liveness:
        return peer_event(pending.event);
    case Source::ip_change:
        return address_event(pending.event);
    case Source::reconfiguration:
        return update(std::nullopt);
    default:
        return update(source);
    }
}

Taken Model::from_queue() {
    wake_ups_ -= wake_ups_ > 0 ? 1 : 0;
    if (queue_.empty()) {
        return nothing();
    }
    const Queued event = queue_.front();
    queue_.pop_front();
    if (event.kind == Queued::Kind::message) {
        Model_Node *const node = find(live_, event.nodes.front());
        if (node == nullptr || node->state != State::down || node->reason != Reason::reported_down) {
            return nothing();
        }
        *node = {node->number, State::up, Reason::reported_up};
        for (Queued &other : queue_) {
            Model_Node *const waiting = other.table ? find(*other.table, node->number) : nullptr;
            if (waiting != nullptr && waiting->state == State::down &&
                waiting->reason == Reason::reported_down) {
                *waiting = *node;
            }
        }
    }
    Taken told = nothing();
    if (event.kind == Queued::Kind::marker) {
        live_ = *event.table;
        know_nodes_of(live_);
        told = {Hb_Success, error_, 128, "Hb_Config_Group", {}, {}, 0};
    } else if (event.kind == Queued::Kind::adapters) {
        told = tell_adapters(event.events, event.adapters);
    } else if (!node_name_.empty()) {
        told = {Hb_Success, error_, event.events, node_name_, event.nodes, {}, 0};
    }
    wake();
    return told;
}

Taken Model::adapter_event(const Event_Record &event) {
    if (event.type == QZ_ORB_EVENT_ADD || event.type == QZ_ORB_EVENT_DELETE) {
        return update(Source::adapter_liveness);
    }
    const State state = event.type == QZ_ORB_EVENT_UP ? State::up : State::down;
    for (Model_Adapter &adapter : live_.adapters) {
        if (node_of(adapter) == static_cast<int>(event.node) && adapter.name == event.name) {
            if (adapter.state == state) {
                break;
            }
            adapter.state = state;
            return tell_adapters(state == State::up ? 2 : 1, {adapter.number});
        }
    }
    return tell_adapters(0, {});
}

Taken Model::node_event(const Event_Record &event) {
    const int node = static_cast<int>(event.node);
    const auto sequence = static_cast<unsigned long>(event.sequence);
    if (node == 1) {
        return nothing(sequence);
    }
    // After an outage, a whole reading finds a node that is not known.
    const bool whole = owed_ && find(live_, node) == nullptr;
    if (whole) {
        const Taken told = update(std::nullopt);
        if (told.result == Hb_Success) {
            return told;
        }
        --outages;
    }
    const std::optional<Model_Table> built = whole ? std::nullopt : build(live_, Source::node_liveness, node);
    if (!built) {
        owed_ = true;
        ++records_alone;
    }
    return event.type == QZ_ORB_EVENT_DOWN ? node_death(node, sequence, built)
                                           : node_join(node, sequence, built);
}

// Without news the new table is dropped, and the known nodes are those from before.
Taken Model::no_news(const Taken &told) {
    const auto last =
        std::find_if(queue_.rbegin(), queue_.rend(), [](const Queued &queued) { return queued.table; });
    know_nodes_of(last != queue_.rend() ? *last->table : live_);
    return told;
}

Taken Model::node_death(int node, unsigned long sequence, std::optional<Model_Table> next) {
    const Model_Node *const now = next ? find(*next, node) : nullptr;
    Model_Node *const before = find(live_, node);
    if (now != nullptr && now->state == State::up) {
        return no_news(nothing());
    }
    if (before != nullptr && before->state == State::down && before->reason == Reason::down) {
        return next ? no_news(nothing(sequence)) : nothing(sequence);
    }
    const bool reported =
        before != nullptr && before->state == State::down && before->reason == Reason::reported_down;
    std::vector<unsigned> died;
    for (Model_Adapter &adapter : live_.adapters) {
        if (node_of(adapter) == node && adapter.state == State::up) {
            adapter.state = State::down;
            died.push_back(adapter.number);
        }
    }
    std::sort(died.begin(), died.end());
    Taken told = nothing();
    if (!died.empty()) {
        told = tell_adapters(1, died);
        if (!reported) {
            queue({Queued::Kind::nodes, 1, {node}, {}, {}});
        }
    } else if (!reported) {
        told = tell_nodes(1, node, sequence);
    }
    if (!next) {
        note(node) = {node, State::down, Reason::down};
        wake();
        return told;
    }
    if (before != nullptr) {
        before->state = State::down;
    }
    for (Model_Adapter &adapter : next->adapters) {
        if (node_of(adapter) == node && adapter.state == State::up) {
            adapter.state = State::down; // its death was reported
        }
    }
    if (died.empty() && reported) {
        live_ = *next;
        told = {Hb_Success, error_, 128, "Hb_Config_Group", {}, {}, 0};
    } else {
        queue_marker(*next);
    }
    wake();
    return told;
}

Taken Model::node_join(int node, unsigned long sequence, std::optional<Model_Table> next) {
    const Model_Node *const now = next ? find(*next, node) : nullptr;
    Model_Node *const before = find(live_, node);
    const bool reported =
        before != nullptr && before->state == State::down && before->reason == Reason::reported_down;
    if (next ? now != nullptr && now->state == State::down : reported) {
        return next ? no_news(nothing()) : nothing();
    }
    if (before != nullptr && before->state == State::up) {
        return next ? no_news(nothing(sequence)) : nothing(sequence);
    }
    const bool answered = !fails(Operation::get_net_intf_info);
    if (!answered) {
        error_ = 65;
    }
    // Adapters that are up in the service join now, unless that was reported before. The numbers are those of
    // the table that will be live.
    const std::vector<mox_sim::Interface> interfaces = service_.interfaces();
    Model_Table &numbered = next ? *next : live_;
    std::vector<unsigned> joined;
    for (Model_Adapter &adapter : numbered.adapters) {
        if (node_of(adapter) != node || is_up_in(live_, adapter)) {
            continue;
        }
        const bool up_now =
            answered &&
            std::any_of(interfaces.begin(), interfaces.end(), [&](const mox_sim::Interface &interface) {
                return is_of(interface, adapter) && interface.status == QZ_MOX_INTF_STATUS_UP;
            });
        if (up_now) {
            joined.push_back(adapter.number);
        } else if (next && adapter.state == State::up) {
            adapter.state = State::down;
        }
    }
    for (Model_Adapter &adapter : numbered.adapters) {
        if (std::count(joined.begin(), joined.end(), adapter.number) > 0) {
            adapter.state = State::up;
        }
    }
    std::sort(joined.begin(), joined.end());
    if (next) {
        std::vector<unsigned> stale;
        for (const Model_Adapter &adapter : live_.adapters) {
            if (node_of(adapter) == node && adapter.state == State::up && !is_up_in(*next, adapter)) {
                stale.push_back(adapter.number);
            }
        }
        std::sort(stale.begin(), stale.end());
        if (!stale.empty()) {
            queue({Queued::Kind::adapters, 1, {}, stale, {}});
        }
        queue_marker(*next);
    }
    if (!joined.empty()) {
        queue({Queued::Kind::adapters, 2, {}, joined, {}});
    }
    if (!next) {
        note(node) = {node, State::up, Reason::up};
    } else if (before != nullptr) {
        before->state = State::up;
    }
    wake();
    return tell_nodes(2, node, sequence);
}

Taken Model::peer_event(const Event_Record &event) {
    Model_Node *const node = find(live_, static_cast<int>(event.node));
    if (node == nullptr) {
        return nothing();
    }
    int events = 0;
    if (event.type == QZ_ORB_EVENT_UP) {
        if (node->state == State::down && node->reason == Reason::reported_down) {
            *node = {node->number, State::up, Reason::reported_up};
            events = 2;
        }
    } else if (node->state != State::down && node->number != 1) {
        *node = {node->number, State::down, Reason::reported_down};
        events = 1;
    }
    return events == 0 || node_name_.empty() ? nothing() : tell_nodes(events, node->number, 0);
}

Taken Model::address_event(const Event_Record &event) {
    if (event.type != QZ_ORB_ADDRESS_ADD && event.type != QZ_ORB_ADDRESS_DELETE) {
        return failed(0);
    }
    return update(Source::ip_change);
}

Taken Model::new_group() {
    const int request = requests_.front();
    requests_.pop_front();
    if (request == 1) {
        if (node_name_.empty()) {
            return nothing();
        }
        if (fails(Operation::get_node_info)) {
            return {Hb_Failure, 64, -1, "", {}, {}, 0};
        }
        Taken told{Hb_Success, 0, 4, node_name_, {}, {}, 0};
        for (const mox_sim::Node &node : service_.nodes()) {
            const Model_Node *const known = find(live_, static_cast<int>(node.number));
            const bool reported =
                known != nullptr && known->state == State::down && known->reason == Reason::reported_down;
            if (node.operation != QZ_MOX_CFG_OP_DEL &&
                (node.number == 1 || (node.status == QZ_MOX_NODE_STATUS_UP && !reported))) {
                told.nodes.push_back(static_cast<int>(node.number));
            }
        }
        std::sort(told.nodes.begin(), told.nodes.end());
        return told;
    }
    if (adapter_name_.empty()) {
        return nothing();
    }
    if (fails(Operation::get_net_intf_info)) {
        return {Hb_Failure, 65, -1, "", {}, {}, 0};
    }
    return {Hb_Success, 0, 4, adapter_name_, {}, up_interfaces(), 0};
}

} // namespace hb_test
