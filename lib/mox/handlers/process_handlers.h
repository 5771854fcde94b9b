// SPDX-License-Identifier: Apache-2.0
// The process's handlers of cluster-event mode. Null: the handler does not exist.
#pragma once

#include "lib/mox/handlers/MOX_ORBFSHandler.h"
#include "lib/mox/handlers/MOX_ORBFSPipeHandler.h"

extern ORBFSHandler *node_liveness_handler_p;
extern ORBFSHandler *adapter_event_handler_p;
extern ORBFSPipeHandler *new_group_event_handler_p;
extern ORBFSHandler *cluster_reconfig_handler_p;
extern ORBFSPipeHandler *event_pipe_handler_p;
extern ORBFSHandler *peer_GS_liveness_handler_p;
extern ORBFSHandler *ip_change_handler_p;
extern ORBFSHandler *node_list_handler_p;
extern ORBFSHandler *site_config_handler_p;

// Deletes and nulls all existing handlers and the cluster's name. May be called at any time and repeatedly.
void MOX_delete_global_event_handlers();

// The existing handlers, and whether the cluster's name is known.
struct MOX_Handler_Set {
    bool node_liveness;
    bool adapter_event;
    bool new_group_event;
    bool cluster_reconfig;
    bool event_pipe;
    bool peer_GS_liveness;
    bool ip_change;
    bool node_list;
    bool site_config;
    bool cluster_name;
};
MOX_Handler_Set MOX_existing_handlers();

// Deletes and nulls the handlers that are not in the set, in the order above.
void MOX_delete_handlers_except(const MOX_Handler_Set &kept);
