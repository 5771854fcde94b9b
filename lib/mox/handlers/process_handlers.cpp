// SPDX-License-Identifier: Apache-2.0
#include "lib/mox/handlers/process_handlers.h"

#include "lib/hb_global_data/cluster_name.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/working_table.h"

ORBFSHandler *node_liveness_handler_p = nullptr;
ORBFSHandler *adapter_event_handler_p = nullptr;
ORBFSPipeHandler *new_group_event_handler_p = nullptr;
ORBFSHandler *cluster_reconfig_handler_p = nullptr;
ORBFSPipeHandler *event_pipe_handler_p = nullptr;
ORBFSHandler *peer_GS_liveness_handler_p = nullptr;
ORBFSHandler *ip_change_handler_p = nullptr;
ORBFSHandler *node_list_handler_p = nullptr;
ORBFSHandler *site_config_handler_p = nullptr;

namespace {

template <typename Handler> void drop(Handler *&handler, bool is_kept) {
    if (!is_kept) {
        delete handler;
        handler = nullptr;
    }
}

} // namespace

MOX_Handler_Set MOX_existing_handlers() {
    return {node_liveness_handler_p != nullptr,   adapter_event_handler_p != nullptr,
            new_group_event_handler_p != nullptr, cluster_reconfig_handler_p != nullptr,
            event_pipe_handler_p != nullptr,      peer_GS_liveness_handler_p != nullptr,
            ip_change_handler_p != nullptr,       node_list_handler_p != nullptr,
            site_config_handler_p != nullptr,     orbfs_cluster_name != nullptr};
}

void MOX_delete_handlers_except(const MOX_Handler_Set &kept) {
    if (!kept.cluster_name) {
        delete[] orbfs_cluster_name;
        orbfs_cluster_name = nullptr;
    }
    if (IsMOX && node_liveness_handler_p != nullptr && !kept.node_liveness) {
        MOX_set_comparison_due(true); // nothing reports what happens while no monitor is open
    }
    drop(node_liveness_handler_p, kept.node_liveness);
    drop(adapter_event_handler_p, kept.adapter_event);
    drop(new_group_event_handler_p, kept.new_group_event);
    drop(cluster_reconfig_handler_p, kept.cluster_reconfig);
    drop(event_pipe_handler_p, kept.event_pipe);
    drop(peer_GS_liveness_handler_p, kept.peer_GS_liveness);
    drop(ip_change_handler_p, kept.ip_change);
    drop(node_list_handler_p, kept.node_list);
    drop(site_config_handler_p, kept.site_config);
}

void MOX_delete_global_event_handlers() {
    MOX_delete_handlers_except({});
}
