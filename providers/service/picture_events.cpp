// SPDX-License-Identifier: Apache-2.0
#include "providers/service/picture_events.h"

#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace mox_service {
namespace {

// Finds the nodes and interfaces of a picture by key.
class Index {
  public:
    explicit Index(const Picture &picture) : picture_(picture) {
        for (const Node &node : picture.nodes) {
            nodes_.emplace(node.number, &node);
        }
        for (const Interface &interface : picture.interfaces) {
            interfaces_.emplace(std::pair(interface.node, interface.name), &interface);
        }
    }

    const std::vector<Node> &nodes() const { return picture_.nodes; }
    const std::vector<Interface> &interfaces() const { return picture_.interfaces; }
    const Node *find(const Node &node) const { return find_node(node.number); }
    const Node *find_node(uint32_t number) const {
        const auto found = nodes_.find(number);
        return found != nodes_.end() ? found->second : nullptr;
    }
    const Interface *find(const Interface &interface) const {
        const auto found = interfaces_.find({interface.node, interface.name});
        return found != interfaces_.end() ? found->second : nullptr;
    }

  private:
    const Picture &picture_;
    std::map<uint32_t, const Node *> nodes_;
    std::map<std::pair<uint32_t, std::optional<std::string>>, const Interface *> interfaces_;
};

bool same_address(const Interface &a, const Interface &b) {
    return std::memcmp(&a.address, &b.address, sizeof a.address) == 0;
}

// Returns true if the node itself has an event, which also covers its interfaces.
bool is_reported(const Index &before, const Index &after, uint32_t number) {
    const Node *const was = before.find_node(number);
    const Node *const is = after.find_node(number);
    return was == nullptr || is == nullptr || was->status != is->status;
}

Monitor_Event about_node(const char *monitor, qz_orb_event_category_t category, qz_orb_event_type_t type,
                         uint32_t number) {
    Monitor_Event monitor_event{monitor, {}};
    monitor_event.event.category = category;
    monitor_event.event.type = type;
    monitor_event.event.node = number;
    return monitor_event;
}

Monitor_Event about_interface(const char *monitor, qz_orb_event_category_t category, qz_orb_event_type_t type,
                              const Interface &interface) {
    Monitor_Event monitor_event = about_node(monitor, category, type, interface.node);
    monitor_event.event.name = interface.name.value_or("");
    monitor_event.event.address = interface.address;
    return monitor_event;
}

// Adds events for the nodes and interfaces of `from` that are missing in `in`.
void report_missing(const Index &from, const Index &in, const Index &before, const Index &after,
                    qz_orb_event_type_t type, std::vector<Monitor_Event> &monitor_events) {
    for (const Node &node : from.nodes()) {
        if (in.find(node) == nullptr) {
            monitor_events.push_back(
                about_node("node_list", QZ_ORB_EVENT_CATEGORY_NODE_LIST, type, node.number));
        }
    }
    for (const Interface &interface : from.interfaces()) {
        if (in.find(interface) == nullptr && !is_reported(before, after, interface.node)) {
            monitor_events.push_back(
                about_interface("adapter_liveness", QZ_ORB_EVENT_CATEGORY_ADAPTER_LIVENESS, type, interface));
        }
    }
}

void report_addresses(const Index &before, const Index &after, std::vector<Monitor_Event> &monitor_events) {
    for (const Interface &is : after.interfaces()) {
        const Interface *const was = before.find(is);
        if (was != nullptr && !same_address(*was, is)) {
            monitor_events.push_back(
                about_interface("ip_change", QZ_ORB_EVENT_CATEGORY_IP_CHANGE, QZ_ORB_ADDRESS_DELETE, *was));
            monitor_events.push_back(
                about_interface("ip_change", QZ_ORB_EVENT_CATEGORY_IP_CHANGE, QZ_ORB_ADDRESS_ADD, is));
        }
    }
}

// Adds events for nodes and interfaces in both pictures that are now up, or now down.
void report_liveness(const Index &before, const Index &after, bool up,
                     std::vector<Monitor_Event> &monitor_events) {
    const qz_orb_event_type_t type = up ? QZ_ORB_EVENT_UP : QZ_ORB_EVENT_DOWN;
    for (const Node &is : after.nodes()) {
        const Node *const was = before.find(is);
        if (was != nullptr && was->status != is.status && (is.status == QZ_MOX_NODE_STATUS_UP) == up) {
            monitor_events.push_back(
                about_node("node_liveness", QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS, type, is.number));
        }
    }
    for (const Interface &is : after.interfaces()) {
        const Interface *const was = before.find(is);
        if (was != nullptr && was->status != is.status && (is.status == QZ_MOX_INTF_STATUS_UP) == up &&
            !is_reported(before, after, is.node)) {
            monitor_events.push_back(
                about_interface("adapter_liveness", QZ_ORB_EVENT_CATEGORY_ADAPTER_LIVENESS, type, is));
        }
    }
}

} // namespace

std::vector<Monitor_Event> events_between(const Picture &before, const Picture &after) {
    const Index was(before);
    const Index is(after);
    std::vector<Monitor_Event> monitor_events;
    report_missing(was, is, was, is, QZ_ORB_EVENT_DELETE, monitor_events);
    report_addresses(was, is, monitor_events);
    report_missing(is, was, was, is, QZ_ORB_EVENT_ADD, monitor_events);
    report_liveness(was, is, false, monitor_events);
    report_liveness(was, is, true, monitor_events);
    return monitor_events;
}

Monitor_Event reconfiguration() {
    Monitor_Event monitor_event{"cluster_reconfig", {}};
    monitor_event.event.is_reconfiguration = true;
    return monitor_event;
}

} // namespace mox_service
