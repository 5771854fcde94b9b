// SPDX-License-Identifier: Apache-2.0
#include "providers/service/event_record.h"

#include <cstring>

namespace mox_service {
namespace {

// A record and its texts in one block, so that one call frees all of them.
template <typename Record> struct With_Texts {
    Record record{};
    std::string first;
    std::string second;
};

template <typename Record> With_Texts<Record> *block_of(Record *record) {
    return reinterpret_cast<With_Texts<Record> *>(record);
}

template <typename Record> Record *make(const Event_Record &from) {
    auto *block = new With_Texts<Record>;
    block->record.sequence_number = from.sequence;
    if constexpr (requires { block->record.event_type; }) {
        block->record.event_type = from.type;
        block->record.node_number = from.node;
    }
    if constexpr (requires { block->record.reason_number; }) {
        block->record.reason_number = from.reason;
    }
    if constexpr (requires { block->record.node_id = uint64_t{}; }) {
        block->record.node_id = from.node;
    }
    block->first = from.name;
    block->second = from.site_name;
    return &block->record;
}

// Returns the event's first text, which lies in the record's own block.
template <typename Record> char *name_in(Record *record, const Event_Record &from) {
    return from.has_name ? block_of(record)->first.data() : nullptr;
}

template <typename Record> void drop(Record *record) {
    delete block_of(record);
}

qz_orb_event_site_cfg_t *make_site(const Event_Record &from) {
    auto *site = make<qz_orb_event_site_cfg_t>(from);
    site->node_id = from.node_id;
    site->site_number = from.site;
    site->site_id = from.site_id;
    site->cluster_id = from.cluster_id;
    site->site_priority = from.site_priority;
    site->site_policy = from.site_policy;
    site->num_local_node_up = from.local_nodes_up;
    site->num_remote_node_up = from.remote_nodes_up;
    site->event_reason = from.site_reason;
    site->node_name = name_in(site, from);
    site->site_name = block_of(site)->second.data();
    return site;
}

// A reconfiguration has no category of its own, so this value marks it.
constexpr qz_orb_event_category_t RECONFIGURATION = QZ_ORB_MONITOR_CLUSTER_RECONFIG;

} // namespace

void make_event(const Event_Record &from, qz_orb_event_metadata_t *event) {
    std::memset(event, 0, sizeof *event);
    event->category = from.is_reconfiguration ? RECONFIGURATION : from.category;
    switch (event->category) {
    case RECONFIGURATION:
        event->event.p_cluster_reconfig = make<qz_orb_event_cluster_reconfig_t>(from);
        break;
    case QZ_ORB_EVENT_CATEGORY_ADAPTER_LIVENESS: {
        auto *record = make<qz_orb_event_adapter_liveness_t>(from);
        record->p_interface_name = name_in(record, from);
        event->event.p_adapter_liveness = record;
        break;
    }
    case QZ_ORB_EVENT_CATEGORY_PROCESS_LIVENESS: {
        auto *record = make<qz_orb_event_process_liveness_t>(from);
        record->p_command_name = name_in(record, from);
        event->event.p_process_liveness = record;
        break;
    }
    case QZ_ORB_EVENT_CATEGORY_IP_CHANGE: {
        auto *record = make<qz_orb_event_ip_change_t>(from);
        record->p_interface_name = name_in(record, from);
        record->ip_addr = from.address;
        event->event.p_ip_change = record;
        break;
    }
    case QZ_ORB_EVENT_CATEGORY_NODE_LIST:
        event->event.p_node_list = make<qz_orb_event_node_list_t>(from);
        break;
    case QZ_ORB_EVENT_CATEGORY_REPOS_DISK: {
        auto *record = make<qz_orb_event_repos_disk_t>(from);
        record->disk_name = name_in(record, from);
        event->event.p_repos_disk = record;
        break;
    }
    case QZ_ORB_EVENT_CATEGORY_SITE_CFG:
        event->event.p_site_cfg = make_site(from);
        break;
    default:
        event->category = QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS;
        event->event.p_node_liveness = make<qz_orb_event_node_liveness_t>(from);
        break;
    }
}

void free_event(qz_orb_event_metadata_t *event) {
    switch (event->category) {
    case RECONFIGURATION:
        drop(event->event.p_cluster_reconfig);
        break;
    case QZ_ORB_EVENT_CATEGORY_ADAPTER_LIVENESS:
        drop(event->event.p_adapter_liveness);
        break;
    case QZ_ORB_EVENT_CATEGORY_PROCESS_LIVENESS:
        drop(event->event.p_process_liveness);
        break;
    case QZ_ORB_EVENT_CATEGORY_IP_CHANGE:
        drop(event->event.p_ip_change);
        break;
    case QZ_ORB_EVENT_CATEGORY_NODE_LIST:
        drop(event->event.p_node_list);
        break;
    case QZ_ORB_EVENT_CATEGORY_REPOS_DISK:
        drop(event->event.p_repos_disk);
        break;
    case QZ_ORB_EVENT_CATEGORY_SITE_CFG:
        drop(event->event.p_site_cfg);
        break;
    default:
        drop(event->event.p_node_liveness);
        break;
    }
    std::memset(event, 0, sizeof *event);
}

} // namespace mox_service
