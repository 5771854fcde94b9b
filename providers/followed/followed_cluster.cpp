// SPDX-License-Identifier: Apache-2.0
#include "providers/followed/followed_cluster.h"

#include <algorithm>
#include <set>
#include <utility>

#include "providers/service/cluster_picture.h"

namespace mox_followed {
namespace {

using mox_service::Monitor_Event;
using mox_service::Node;
using mox_service::Picture;
using Nodes = std::vector<Hb_Node_Number>;
using Adapters = std::vector<wispd::Adapter_Member>;

Monitor_Event about_adapter(const wispd::Cluster &cluster, Hb_Adapter_Number adapter,
                            qz_orb_event_type_t type) {
    Monitor_Event monitor_event{"adapter_liveness", {}};
    monitor_event.event.category = QZ_ORB_EVENT_CATEGORY_ADAPTER_LIVENESS;
    monitor_event.event.type = type;
    monitor_event.event.node = adapter / static_cast<uint32_t>(cluster.adapters_per_node());
    monitor_event.event.name = mox_service::interface_name(cluster, adapter);
    return monitor_event;
}

bool has_node(const Picture &picture, uint32_t number) {
    return std::any_of(picture.nodes.begin(), picture.nodes.end(),
                       [&](const Node &node) { return node.number == number; });
}

// Adds events for nodes in both pictures. The configuration event reports all other nodes.
void report_nodes(const Nodes &nodes, qz_orb_event_type_t type, const Picture &before, const Picture &after,
                  std::vector<Monitor_Event> &monitor_events) {
    for (const Hb_Node_Number number : nodes) {
        const auto node = static_cast<uint32_t>(number);
        if (has_node(before, node) && has_node(after, node)) {
            monitor_events.push_back(about_node(node, type));
        }
    }
}

void report_adapters(const Adapters &adapters, qz_orb_event_type_t type, const Nodes &reported_nodes,
                     const wispd::Cluster &cluster, std::vector<Monitor_Event> &monitor_events) {
    const std::set<Hb_Node_Number> nodes(reported_nodes.begin(), reported_nodes.end());
    for (const wispd::Adapter_Member &adapter : adapters) {
        const Monitor_Event event = about_adapter(cluster, adapter.number, type);
        if (!nodes.contains(static_cast<Hb_Node_Number>(event.event.node))) {
            monitor_events.push_back(event);
        }
    }
}

} // namespace

Monitor_Event about_node(uint32_t node, qz_orb_event_type_t type) {
    Monitor_Event monitor_event{"node_liveness", {}};
    monitor_event.event.category = QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS;
    monitor_event.event.type = type;
    monitor_event.event.node = node;
    return monitor_event;
}

std::vector<Monitor_Event> Followed_Cluster::apply(const wispd::Engine_Step &step) {
    if (!cluster_) {
        if (!step.configuration) {
            return {};
        }
        cluster_.emplace(*step.configuration);
        cluster_->set_liveness(step.liveness);
        picture_ = mox_service::picture_of(*cluster_);
        return {mox_service::reconfiguration()};
    }
    const wispd::Changes changes = cluster_->follow(step.configuration, step.liveness);
    const Picture before = std::exchange(picture_, mox_service::picture_of(*cluster_));
    std::vector<Monitor_Event> monitor_events;
    if (step.configuration) {
        monitor_events.push_back(mox_service::reconfiguration());
    }
    report_nodes(changes.node_deaths, QZ_ORB_EVENT_DOWN, before, picture_, monitor_events);
    if (!step.configuration) {
        report_adapters(changes.adapter_deaths, QZ_ORB_EVENT_DOWN, changes.node_deaths, *cluster_,
                        monitor_events);
    }
    report_nodes(changes.node_joins, QZ_ORB_EVENT_UP, before, picture_, monitor_events);
    if (!step.configuration) {
        report_adapters(changes.adapter_joins, QZ_ORB_EVENT_UP, changes.node_joins, *cluster_, monitor_events);
    }
    return monitor_events;
}

} // namespace mox_followed
