// SPDX-License-Identifier: Apache-2.0
#include "lib/mox/handlers/MOX_ORBFSSiteConfigEventHandler.h"

#include <cstring>

#include "lib/base/error_number.h"
#include "lib/hb_global_data/cluster_name.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/mox/event_reading.h"

namespace {

constexpr MOX_Handler_Records RECORDS = {HB_TR_SITE_HANDLER_ENTRY, HB_TR_SITE_READ_FAILED,
                                         HB_TR_SITE_HANDLER_EXIT, HB_TR_SITE_NO_EVENT};

// By position: the local node's identifier, the local site, the merge policy.
constexpr int ERRORS_OF_QUERIES[] = {HB_ERROR_NONE, HB_ERROR_NODE_ID_QUERY_FAILED, HB_ERROR_SITE_QUERY_FAILED,
                                     HB_ERROR_MERGE_POLICY_QUERY_FAILED};
constexpr int ERROR_OF_ASKING_AGAIN = HB_ERROR_NODE_ID_QUERY_FAILED;

Hb_Rc query_failed(int position, int number) {
    hb_trace_values(HB_TRACE_INFO, HB_TR_SITE_QUERY_FAILED, position, int{errno}, number);
    return hb_fail(number);
}

template <typename To> To uuid_as(const qz_mox_uuid_t &uuid) {
    To result = {};
    static_assert(sizeof result == sizeof uuid);
    std::memcpy(&result, &uuid, sizeof result);
    return result;
}

Hb_Site_Info remote_site(const qz_orb_event_site_cfg_t &record) {
    Hb_Site_Info site = {};
    site.node_id = uuid_as<node_id_t>(record.node_id);
    site.node_number = record.node_number;
    site.site_id = uuid_as<site_id_t>(record.site_id);
    site.site_number = record.site_number;
    site.site_priority = record.site_priority;
    site.site_policy = record.site_policy;
    site.cluster_id = uuid_as<cluster_id_t>(record.cluster_id);
    return site;
}

void trace_site(Hb_Trace_Id id, const qz_orb_event_site_cfg_t &record) {
    hb_trace_values(HB_TRACE_INFO, id, record.node_number, record.site_number, record.site_priority,
                    record.site_policy, record.num_local_node_up, record.num_remote_node_up,
                    record.event_reason);
}

} // namespace

ORBFSSiteConfigEventHandler::ORBFSSiteConfigEventHandler(char *name)
    : ORBFSConfigurationHandler(name), cached_local_node_uuid(), cached_local_node_uuid_obtained(false),
      cached_local_site_info(), cached_local_site_info_obtained(false), cached_site_merge_policy(0),
      cached_site_merge_policy_obtained(false) {}

ORBFSSiteConfigEventHandler::~ORBFSSiteConfigEventHandler() = default;

Hb_Rc ORBFSSiteConfigEventHandler::handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) {
    MOX_trace_handler(RECORDS.entry, orbfs_fd);
    const MOX_Event_Output out = {events, name, group, seqnum_p};
    return MOX_handle_event(
        orbfs_fd, QZ_ORB_EVENT_CATEGORY_SITE_CFG, RECORDS, out,
        [&](const qz_orb_event_metadata_t &event) { return process(*event.event.p_site_cfg, out); });
}

void ORBFSSiteConfigEventHandler::forget_answers() {
    cached_local_node_uuid_obtained = false;
    cached_local_site_info_obtained = false;
    cached_site_merge_policy_obtained = false;
}

int ORBFSSiteConfigEventHandler::query_missing() {
    if (!cached_local_node_uuid_obtained) {
        qz_mox_uuid_t uuid = {};
        if (qz_mox_get_local_node_uuid(orbfs_cluster_name, &uuid) != 0) {
            return 1;
        }
        cached_local_node_uuid = uuid;
        cached_local_node_uuid_obtained = true;
    }
    if (!cached_local_site_info_obtained) {
        qz_mox_site_info_t site = {};
        if (qz_mox_get_local_site_info(orbfs_cluster_name, &site) != 0) {
            return 2;
        }
        site.p_name = nullptr; // it belongs to the service and may not last
        site.p_next = nullptr;
        cached_local_site_info = site;
        cached_local_site_info_obtained = true;
    }
    if (!cached_site_merge_policy_obtained) {
        int policy = 0;
        if (qz_mox_get_site_merge_policy(orbfs_cluster_name, &policy) != 0) {
            return 3;
        }
        cached_site_merge_policy = policy;
        cached_site_merge_policy_obtained = true;
    }
    return 0;
}

Hb_Rc ORBFSSiteConfigEventHandler::process(const qz_orb_event_site_cfg_t &record, const MOX_Event_Output &out) {
    out.report_no_event();
    switch (record.event_type) {
    case QZ_ORB_SITE_DOWN:
        trace_site(HB_TR_SITE_DOWN, record);
        return site_down(record, out);
    case QZ_ORB_SITE_UP:
        trace_site(HB_TR_SITE_UP, record);
        [[fallthrough]];
    case QZ_ORB_SITE_MODIFY:
        forget_answers();
        if (const int position = query_missing()) {
            return query_failed(position, ERROR_OF_ASKING_AGAIN);
        }
        return Hb_Success;
    default:
        return Hb_Success;
    }
}

Hb_Rc ORBFSSiteConfigEventHandler::site_down(const qz_orb_event_site_cfg_t &record,
                                             const MOX_Event_Output &out) {
    if (const int position = query_missing()) {
        return query_failed(position, ERRORS_OF_QUERIES[position]);
    }
    const bool merges = cached_local_site_info.merge_flag == QZ_MOX_SITE_MERGE_FLAG_MERGE_PENDING;
    const int event = merges ? HB_EVENT_SITE_MERGE : HB_EVENT_SITE_SPLIT;
    if (!out.report(event, siteEventSubscriptionName)) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_SITE_UNSUBSCRIBED, event);
    }
    if (out.group != nullptr) {
        fill(record, event, *out.group);
    }
    return Hb_Success;
}

Hb_Site_Info ORBFSSiteConfigEventHandler::local_site(const qz_orb_event_site_cfg_t &record) const {
    Hb_Site_Info site = {};
    site.node_id = uuid_as<node_id_t>(cached_local_node_uuid);
    site.node_number = static_cast<uint32_t>(global_config_tbl.local_node_number);
    site.site_id = uuid_as<site_id_t>(cached_local_site_info.site_id);
    site.site_number = cached_local_site_info.site_number;
    site.site_priority = cached_local_site_info.site_priority;
    site.site_policy = static_cast<uint32_t>(cached_site_merge_policy);
    site.site_merge_flag = static_cast<uint32_t>(cached_local_site_info.merge_flag);
    site.cluster_id = uuid_as<cluster_id_t>(record.cluster_id);
    return site;
}

void ORBFSSiteConfigEventHandler::fill(const qz_orb_event_site_cfg_t &record, int event,
                                       Hb_Group &group) const {
    group.Hb_group_type = Hb_Site_Group;
    group.Hb_group_status = Hb_Group_Stable;
    group.Hb_events = event;
    if (event == HB_EVENT_SITE_MERGE) {
        auto &merge = group.Hb_membership_grp_union.site_merge_info;
        merge.num_local_up_nodes = record.num_local_node_up;
        merge.num_remote_up_nodes = record.num_remote_node_up;
        merge.local_site = local_site(record);
        merge.remote_site = remote_site(record);
    } else {
        auto &split = group.Hb_membership_grp_union.site_split_info;
        split.local_site = local_site(record);
        split.remote_site = remote_site(record);
    }
}
