#include "providers/corosync/followed_cluster.h"

#include <algorithm>
#include <set>
#include <utility>

#include "providers/service/cluster_picture.h"

namespace mox_corosync {
namespace {

using mox_service::Node;
using mox_service::Picture;
using mox_service::Told;
using Nodes = std::vector<Hb_Node_Number>;
using Adapters = std::vector<wispd::Adapter_Member>;

Told about_adapter(const wispd::Cluster &cluster, Hb_Adapter_Number adapter, qz_orb_event_type_t type) {
    Told told{"adapter_liveness", {}};
    told.event.category = QZ_ORB_EVENT_CATEGORY_ADAPTER_LIVENESS;
    told.event.type = type;
    told.event.node = adapter / static_cast<uint32_t>(cluster.adapters_per_node());
    told.event.name = mox_service::interface_name(cluster, adapter);
    return told;
}

bool has_node(const Picture &picture, uint32_t number) {
    return std::any_of(picture.nodes.begin(), picture.nodes.end(),
                       [&](const Node &node) { return node.number == number; });
}

// Adds events for nodes in both pictures. The configuration event reports all other nodes.
void tell_nodes(const Nodes &nodes, qz_orb_event_type_t type, const Picture &before, const Picture &after,
                std::vector<Told> &told) {
    for (const Hb_Node_Number number : nodes) {
        const auto node = static_cast<uint32_t>(number);
        if (has_node(before, node) && has_node(after, node)) {
            told.push_back(about_node(node, type));
        }
    }
}

void tell_adapters(const Adapters &adapters, qz_orb_event_type_t type, const Nodes &told_nodes,
                   const wispd::Cluster &cluster, std::vector<Told> &told) {
    const std::set<Hb_Node_Number> nodes(told_nodes.begin(), told_nodes.end());
    for (const wispd::Adapter_Member &adapter : adapters) {
        const Told event = about_adapter(cluster, adapter.number, type);
        if (!nodes.contains(static_cast<Hb_Node_Number>(event.event.node))) {
            told.push_back(event);
        }
    }
}

} // namespace

Told about_node(uint32_t node, qz_orb_event_type_t type) {
    Told told{"node_liveness", {}};
    told.event.category = QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS;
    told.event.type = type;
    told.event.node = node;
    return told;
}

std::vector<Told> Followed_Cluster::take(const wispd::Engine_Step &step) {
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
    std::vector<Told> told;
    if (step.configuration) {
        told.push_back(mox_service::reconfiguration());
    }
    tell_nodes(changes.node_deaths, QZ_ORB_EVENT_DOWN, before, picture_, told);
    if (!step.configuration) {
        tell_adapters(changes.adapter_deaths, QZ_ORB_EVENT_DOWN, changes.node_deaths, *cluster_, told);
    }
    tell_nodes(changes.node_joins, QZ_ORB_EVENT_UP, before, picture_, told);
    if (!step.configuration) {
        tell_adapters(changes.adapter_joins, QZ_ORB_EVENT_UP, changes.node_joins, *cluster_, told);
    }
    return told;
}

} // namespace mox_corosync
