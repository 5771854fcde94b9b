// SPDX-License-Identifier: Apache-2.0
#include "providers/service/reported_liveness.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace mox_service {
namespace {

using Statuses = std::map<Interface_Key, qz_mox_intf_status_t>;

constexpr const char *NODES = "node_liveness";
constexpr const char *INTERFACES = "adapter_liveness";

const Node *find_node(const Picture &picture, uint32_t number) {
    const auto found = std::find_if(picture.nodes.begin(), picture.nodes.end(),
                                    [&](const Node &node) { return node.number == number; });
    return found != picture.nodes.end() ? &*found : nullptr;
}

const Interface *find_interface(const Picture &picture, uint32_t node, const std::string &name) {
    const auto found = std::find_if(picture.interfaces.begin(), picture.interfaces.end(),
                                    [&](const Interface &one) { return one.node == node && one.name == name; });
    return found != picture.interfaces.end() ? &*found : nullptr;
}

std::set<uint32_t> nodes_in(const Picture &picture) {
    std::set<uint32_t> numbers;
    for (const Node &node : picture.nodes) {
        numbers.insert(numbers.end(), node.number);
    }
    return numbers;
}

Statuses statuses_in(const Picture &picture) {
    Statuses statuses;
    for (const Interface &interface : picture.interfaces) {
        statuses.emplace(Interface_Key(interface.node, interface.name), interface.status);
    }
    return statuses;
}

bool is_up(qz_mox_intf_status_t status) {
    return status == QZ_MOX_INTF_STATUS_UP;
}

bool is_up(const Node &node) {
    return node.status == QZ_MOX_NODE_STATUS_UP;
}

bool is_up(const Event_Record &event) {
    return event.type == QZ_ORB_EVENT_UP;
}

bool is_liveness(const Monitor_Event &monitor_event, qz_orb_event_category_t category) {
    return !monitor_event.event.is_reconfiguration && monitor_event.event.category == category &&
           (monitor_event.event.type == QZ_ORB_EVENT_UP || monitor_event.event.type == QZ_ORB_EVENT_DOWN);
}

bool is_node_liveness(const Monitor_Event &monitor_event) {
    return monitor_event.monitor == NODES && is_liveness(monitor_event, QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS);
}

bool is_interface_liveness(const Monitor_Event &monitor_event) {
    return monitor_event.monitor == INTERFACES &&
           is_liveness(monitor_event, QZ_ORB_EVENT_CATEGORY_ADAPTER_LIVENESS);
}

// Returns the state that the event reports. A node that died and came back within one step is up in `after`.
// Its death must still report it down.
Liveness just_after(const Event_Record &event, const Node &node, const Picture &after) {
    const bool as_in_picture = is_up(node) == is_up(event);
    Liveness liveness;
    liveness.node = as_in_picture  ? node.status
                    : is_up(event) ? QZ_MOX_NODE_STATUS_UP
                                   : QZ_MOX_NODE_STATUS_DOWN;
    for (const Interface &interface : after.interfaces) {
        if (interface.node == node.number) {
            liveness.interfaces[interface.name] =
                as_in_picture || is_up(event) ? interface.status : QZ_MOX_INTF_STATUS_DOWN;
        }
    }
    return liveness;
}

qz_mox_intf_status_t just_after(const Event_Record &event, const Interface *interface) {
    if (interface != nullptr && (interface->status == QZ_MOX_INTF_STATUS_UP) == is_up(event)) {
        return interface->status;
    }
    return is_up(event) ? QZ_MOX_INTF_STATUS_UP : QZ_MOX_INTF_STATUS_DOWN;
}

Reading reading_of(const Event_Record &event, Liveness after) {
    return {0, 0, event, std::make_shared<const Liveness>(std::move(after)), 0};
}

Monitor_Event about_node(const Node &node) {
    Monitor_Event monitor_event{NODES, {}};
    monitor_event.event.category = QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS;
    monitor_event.event.type = is_up(node) ? QZ_ORB_EVENT_UP : QZ_ORB_EVENT_DOWN;
    monitor_event.event.node = node.number;
    return monitor_event;
}

Monitor_Event about_interface(const Interface &interface) {
    Monitor_Event monitor_event{INTERFACES, {}};
    monitor_event.event.category = QZ_ORB_EVENT_CATEGORY_ADAPTER_LIVENESS;
    monitor_event.event.type = is_up(interface.status) ? QZ_ORB_EVENT_UP : QZ_ORB_EVENT_DOWN;
    monitor_event.event.node = interface.node;
    monitor_event.event.name = interface.name.value_or("");
    return monitor_event;
}

} // namespace

uint64_t Reported_Liveness::Configuration_Events::about(uint32_t node) const {
    const auto found = of_nodes.find(node);
    return found != of_nodes.end() ? found->second : reconfiguration;
}

// ---- Changes ----

void Reported_Liveness::change(const Picture &before, const Picture &after,
                               const std::vector<Monitor_Event> &events) {
    settle();
    depart(before, after);
    const Configuration_Events configuration = push_configuration(events);
    arrive(before, after, configuration);
    for (const Monitor_Event &monitor_event : events) {
        hold_liveness(monitor_event, before, after);
    }
    if (configuration.reconfiguration != 0) {
        hold_other_statuses(before, after);
    }
}

// Adds events for statuses that a new configuration changes, because the library's comparison of tables does
// not report them.
void Reported_Liveness::hold_other_statuses(const Picture &before, const Picture &after) {
    std::map<uint32_t, bool> were_up;
    for (const Node &node : before.nodes) {
        were_up[node.number] = is_up(node);
    }
    for (const Node &node : after.nodes) {
        const auto was = were_up.find(node.number);
        const Reading *const last = last_unread_of(node.number);
        if (was != were_up.end() && was->second != is_up(node) &&
            (last == nullptr || is_up(last->event) != is_up(node))) {
            hold_node(about_node(node), before, after);
        }
    }
    const Statuses statuses = statuses_in(before);
    for (const Interface &interface : after.interfaces) {
        const auto was = interface.name ? statuses.find({interface.node, interface.name}) : statuses.end();
        if (was == statuses.end() || is_up(was->second) == is_up(interface.status)) {
            continue;
        }
        const Reading *const last = last_unread_of(interface.node, *interface.name);
        if (last == nullptr || is_up(last->event) != is_up(interface.status)) {
            hold_interface(about_interface(interface), before, after);
        }
    }
}

void Reported_Liveness::depart(const Picture &before, const Picture &after) {
    const std::set<uint32_t> present = nodes_in(after);
    for (const Node &node : before.nodes) {
        if (!present.contains(node.number)) {
            remember(node.number, before);
            arrivals_.erase(node.number);
            withdraw_interface_events(node.number);
            monitors_.withdraw(NODES, [&](const Reading &reading) {
                return reading.result == 0 && reading.event.node == node.number; // includes repeated events
            });
            departures_[node.number] = 0; // set when the event is pushed
        }
    }
    // The comparison of tables ignores the former state of an interface that left and came back.
    if (!monitors_.held(INTERFACES).empty()) {
        const Statuses present_interfaces = statuses_in(after);
        monitors_.withdraw(INTERFACES, [&](const Reading &reading) {
            return reading.after != nullptr &&
                   !present_interfaces.contains({reading.event.node, reading.event.name});
        });
    }
}

Reported_Liveness::Configuration_Events
Reported_Liveness::push_configuration(const std::vector<Monitor_Event> &events) {
    Configuration_Events pushed;
    for (const Monitor_Event &monitor_event : events) {
        if (is_node_liveness(monitor_event) || is_interface_liveness(monitor_event)) {
            continue;
        }
        const uint64_t id = monitors_.push(monitor_event.monitor, {0, 0, monitor_event.event, nullptr, 0});
        if (monitor_event.event.is_reconfiguration) {
            pushed.reconfiguration = id;
        } else if (monitor_event.event.category == QZ_ORB_EVENT_CATEGORY_NODE_LIST) {
            pushed.of_nodes[monitor_event.event.node] = id;
        }
    }
    for (auto &[node, event] : departures_) {
        event = event != 0 ? event : pushed.about(node);
    }
    return pushed;
}

void Reported_Liveness::arrive(const Picture &before, const Picture &after,
                               const Configuration_Events &events) {
    const std::set<uint32_t> known = nodes_in(before);
    for (const Node &node : after.nodes) {
        if (known.contains(node.number)) {
            continue;
        }
        arrivals_[node.number] = {events.about(node.number), {}};
        const auto departed = departures_.find(node.number);
        if (departed == departures_.end() || !monitors_.holds(departed->second)) {
            reported_.erase(node.number);
        } else if ((reported_[node.number].node == QZ_MOX_NODE_STATUS_UP) != is_up(node)) {
            hold_node_news(about_node(node).event, node, after);
        }
    }
}

void Reported_Liveness::hold_liveness(const Monitor_Event &monitor_event, const Picture &before,
                                      const Picture &after) {
    if (is_node_liveness(monitor_event)) {
        hold_node(monitor_event, before, after);
    } else if (is_interface_liveness(monitor_event)) {
        hold_interface(monitor_event, before, after);
    }
}

void Reported_Liveness::hold_node(const Monitor_Event &monitor_event, const Picture &before,
                                  const Picture &after) {
    const uint32_t number = monitor_event.event.node;
    const Node *const node = find_node(after, number);
    const Node *const was = find_node(before, number);
    if (node == nullptr && was != nullptr) {
        return; // the leaving already reports the death
    }
    const Reading *const last = last_unread_of(number);
    const bool was_up = last != nullptr ? is_up(last->event) : was != nullptr && is_up(*was);
    const bool is_news = node != nullptr && was != nullptr && was_up != is_up(monitor_event.event);
    if (is_news) {
        remember(number, before);
        hold_node_news(monitor_event.event, *node, after);
    } else if (!is_arriving(number)) {
        monitors_.push(NODES, {0, 0, monitor_event.event, nullptr, 0}); // a repeated event changes no state
    }
}

void Reported_Liveness::hold_node_news(const Event_Record &event, const Node &node, const Picture &after) {
    withdraw_interface_events(node.number);
    const Reading reading = reading_of(event, just_after(event, node, after));
    if (is_arriving(node.number)) {
        arrivals_[node.number].waiting.push_back(reading);
    } else {
        monitors_.push(NODES, reading);
    }
}

void Reported_Liveness::hold_interface(const Monitor_Event &monitor_event, const Picture &before,
                                       const Picture &after) {
    const uint32_t node = monitor_event.event.node;
    if (last_unread_of(node) != nullptr) {
        return;
    }
    const qz_mox_intf_status_t status =
        just_after(monitor_event.event, find_interface(after, node, monitor_event.event.name));
    if (last_unread_of(node, monitor_event.event.name) == nullptr) {
        const Interface *const was = find_interface(before, node, monitor_event.event.name);
        reported_[node].interfaces[monitor_event.event.name] = was != nullptr ? was->status : status;
    }
    Liveness liveness;
    liveness.interfaces[monitor_event.event.name] = status;
    monitors_.push(INTERFACES, reading_of(monitor_event.event, std::move(liveness)));
}

// ---- Last reported states ----

// Records the node as in the picture. States of interfaces with unread events stay as they were last reported.
void Reported_Liveness::remember(uint32_t node, const Picture &picture) {
    if (last_unread_of(node) != nullptr) {
        return;
    }
    const Liveness before = std::exchange(reported_[node], {});
    Liveness &reported = reported_[node];
    if (const Node *const known = find_node(picture, node)) {
        reported.node = known->status;
    }
    for (const Interface &interface : picture.interfaces) {
        if (interface.node == node) {
            const bool is_unread = interface.name && last_unread_of(node, *interface.name) != nullptr;
            const auto kept = is_unread ? before.interfaces.find(interface.name) : before.interfaces.end();
            reported.interfaces[interface.name] =
                kept != before.interfaces.end() ? kept->second : interface.status;
        }
    }
}

void Reported_Liveness::withdraw_interface_events(uint32_t node) {
    monitors_.withdraw(INTERFACES, [&](const Reading &reading) {
        return reading.after != nullptr && reading.event.node == node;
    });
}

// Return the last unread event, or null if all events are read. The pointer is valid until the monitors change.
const Reading *Reported_Liveness::last_unread_of(uint32_t node) {
    const auto arrival = arrivals_.find(node);
    if (arrival != arrivals_.end() && !arrival->second.waiting.empty()) {
        return &arrival->second.waiting.back();
    }
    return last_held(NODES, [&](const Event_Record &event) { return event.node == node; });
}

const Reading *Reported_Liveness::last_unread_of(uint32_t node, const std::string &interface) {
    return last_held(INTERFACES,
                     [&](const Event_Record &event) { return event.node == node && event.name == interface; });
}

template <typename Which> const Reading *Reported_Liveness::last_held(const std::string &monitor, Which which) {
    const std::deque<Reading> &held = monitors_.held(monitor);
    const auto last = std::find_if(held.rbegin(), held.rend(), [&](const Reading &reading) {
        return reading.after != nullptr && which(reading.event);
    });
    return last != held.rend() ? &*last : nullptr;
}

bool Reported_Liveness::is_arriving(uint32_t node) {
    const auto arrival = arrivals_.find(node);
    return arrival != arrivals_.end() && monitors_.holds(arrival->second.event);
}

std::set<uint32_t> Reported_Liveness::nodes_unread() {
    std::set<uint32_t> nodes;
    for (const Reading &reading : monitors_.held(NODES)) {
        if (reading.after != nullptr) {
            nodes.insert(reading.event.node);
        }
    }
    for (const auto &[node, arrival] : arrivals_) {
        if (!arrival.waiting.empty()) {
            nodes.insert(node);
        }
    }
    return nodes;
}

std::set<Interface_Key> Reported_Liveness::interfaces_unread() {
    std::set<Interface_Key> interfaces;
    for (const Reading &reading : monitors_.held(INTERFACES)) {
        if (reading.after != nullptr) {
            interfaces.emplace(reading.event.node, reading.event.name);
        }
    }
    return interfaces;
}

// Releases liveness events that wait for a node's joining event, once that event is read or its monitor is
// closed.
void Reported_Liveness::settle() {
    for (auto arrival = arrivals_.begin(); arrival != arrivals_.end();) {
        if (monitors_.holds(arrival->second.event)) {
            ++arrival;
            continue;
        }
        for (const Reading &reading : arrival->second.waiting) {
            monitors_.push(NODES, reading);
        }
        arrival = arrivals_.erase(arrival);
    }
    std::erase_if(departures_, [&](const auto &departure) { return !monitors_.holds(departure.second); });
}

// ---- Reading and queries ----

std::optional<Reading> Reported_Liveness::read(int fd, int category) {
    settle();
    std::optional<Reading> reading = monitors_.take(fd, category);
    if (reading && reading->after != nullptr) {
        Liveness &reported = reported_[reading->event.node];
        if (reading->after->node) {
            reported = *reading->after;
        } else {
            for (const auto &[name, status] : reading->after->interfaces) {
                reported.interfaces[name] = status;
            }
        }
    }
    settle();
    return reading;
}

Picture Reported_Liveness::shown(const Picture &now) {
    settle();
    const std::set<uint32_t> nodes = nodes_unread();
    const std::set<Interface_Key> interfaces = interfaces_unread();
    Picture picture = now;
    for (Node &node : picture.nodes) {
        if (nodes.contains(node.number)) {
            node.status = reported_[node.number].node.value_or(node.status);
        }
    }
    for (Interface &interface : picture.interfaces) {
        const bool node_unread = nodes.contains(interface.node);
        if (!node_unread && !interfaces.contains({interface.node, interface.name})) {
            continue;
        }
        const Liveness &reported = reported_[interface.node];
        if (const auto found = reported.interfaces.find(interface.name); found != reported.interfaces.end()) {
            interface.status = found->second;
        } else if (node_unread && reported.node != QZ_MOX_NODE_STATUS_UP) {
            // No interface can join before its node.
            interface.status = QZ_MOX_INTF_STATUS_DOWN;
        }
    }
    return picture;
}

Picture Reported_Liveness::shown(const Picture &configuration, const Picture &now) {
    Picture picture = configuration;
    std::map<uint32_t, qz_mox_node_status_t> nodes;
    for (const Node &node : now.nodes) {
        nodes[node.number] = node.status;
    }
    const Statuses interfaces = statuses_in(now);
    // A node or interface that left the configuration keeps its last reported status.
    for (Node &node : picture.nodes) {
        const auto found = nodes.find(node.number);
        node.status = found != nodes.end() ? found->second : reported_[node.number].node.value_or(node.status);
    }
    for (Interface &interface : picture.interfaces) {
        const auto found = interfaces.find({interface.node, interface.name});
        const auto &reported = reported_[interface.node].interfaces;
        const auto kept = reported.find(interface.name);
        if (found != interfaces.end()) {
            interface.status = found->second;
        } else if (kept != reported.end()) {
            interface.status = kept->second;
        }
    }
    return shown(picture);
}

} // namespace mox_service
