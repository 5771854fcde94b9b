// SPDX-License-Identifier: Apache-2.0
// Receives the next event: hb_get_event_message and hb_get_client_hb_info of hb_client.h.

#include <cstring>

#include "hb_client.h"
#include "lib/api/argument_check.h"
#include "lib/api/session.h"
#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/error_number.h"
#include "lib/hb_communication/configuration_load.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_communication/event_apply.h"
#include "lib/hb_communication/reply.h"
#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/node_table.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/hb_global_data/working_table.h"
#include "lib/mox/handlers/process_handlers.h"
#include "lib/wire/event_view.h"
#include "lib/wire/snapshot_view.h"

namespace {

// The table that a preparation read is older than an event that is reported now. A commit must not go back to
// it.
void drop_outdated_preparation() {
    MOX_drop_prepared_table();
}

// A new configuration lists the nodes but not their states. The states that were reported before stay valid.
class Reported_Nodes {
  public:
    Reported_Nodes() {
        const Hb_Configuration_Internal &table = global_config_tbl;
        for (int i = 0; i < table.Hb_num_nodes && table.node_list != nullptr && i < HB_NODE_SLOTS; ++i) {
            nodes_[count_++] = table.node_list[i];
        }
    }
    void restore() const {
        for (int i = 0; i < count_; ++i) {
            Hb_Node_Entry *entry = hb_find_node(global_config_tbl, nodes_[i].node_num);
            if (entry != nullptr) {
                *entry = nodes_[i];
            }
        }
    }

  private:
    Hb_Node_Entry nodes_[HB_NODE_SLOTS];
    int count_ = 0;
};

Hb_Rc apply_configuration(const Hb_Packet &packet, int *events, char *name) {
    if (!hb_view_snapshot(packet.bytes())) {
        return hb_fail(HB_ERROR_UNEXPECTED_REPLY);
    }
    const Reported_Nodes nodes;
    if (hb_get_adapter_network(packet.get()) != Hb_Success) {
        return Hb_Failure;
    }
    nodes.restore();
    hb_init_global_node_tbl();
    drop_outdated_preparation();
    *events = HB_EVENT_CONFIG;
    std::strcpy(name, HB_EVENT_NAME_CONFIG);
    return Hb_Success;
}

bool changes_membership(const Hb_Event_View &event) {
    return std::holds_alternative<Hb_Adapter_Event_View>(event) ||
           std::holds_alternative<Hb_Node_Event_View>(event);
}

Hb_Rc apply_event(const Hb_Packet &packet, int *events, char *name, Hb_Group &group) {
    const auto event = hb_view_event(packet.bytes(), global_config_tbl.Hb_max_nodes);
    if (!event) {
        return hb_fail(HB_ERROR_UNEXPECTED_REPLY);
    }
    if (changes_membership(*event)) {
        drop_outdated_preparation();
    }
    *events = hb_apply_event(*event, name, group);
    return Hb_Success;
}

// Queued events come first: they happened before anything that a handler would read now.
Hb_Rc deliver_cluster_event(int *descriptors, int *events, char *name, Hb_Group *group,
                            unsigned long *seqnum_p) {
    if (MOX_event_queue_is_empty() != 0) {
        drop_outdated_preparation();
        Hb_Rc result = Hb_Failure;
        ORBFSHandler::dispatch(descriptors, events, name, group, seqnum_p, &result);
        return result;
    }
    hb_trace_id(HB_TRACE_INFO, HB_TR_DELIVER_QUEUED_EVENT);
    if (event_pipe_handler_p == nullptr) {
        return hb_fail(HB_ERROR_NO_HANDLER);
    }
    return event_pipe_handler_p->handler(events, name, group, seqnum_p);
}

} // namespace

Hb_Rc hb_get_event_message(int *descriptors, struct timeval *timeout, int *events, char *name, Hb_Group *group,
                           unsigned long *seqnum_p) {
    if (!hb_given(descriptors)) {
        return Hb_Failure;
    }
    if (descriptors[0] == -1) {
        return Hb_Failure;
    }
    if (!hb_given(events, name, group, seqnum_p)) {
        return Hb_Failure;
    }
    if (IsMOX) {
        return deliver_cluster_event(descriptors, events, name, group, seqnum_p);
    }
    if (hb_usable_connection() == nullptr && hb_ensure_connection() != Hb_Success) {
        return Hb_Failure;
    }
    Hb_Packet packet;
    if (hb_wait_for_connection(timeout) != Hb_Success || hb_receive_packet(packet) != Hb_Success) {
        return Hb_Failure;
    }
    if (!packet.has_header()) {
        return hb_fail(HB_ERROR_UNEXPECTED_REPLY);
    }
    std::memset(group->Hb_ffdc_id, 0, sizeof group->Hb_ffdc_id);
    *seqnum_p = packet.get()->notification_sequence_no;
    if (packet.get()->kind == HB_CONFIGURATION_UPDATE) {
        return apply_configuration(packet, events, name);
    }
    return apply_event(packet, events, name, *group);
}

Hb_Rc hb_get_client_hb_info(Hb_Client_Hb_Info *client_hb_info_p) {
    if (!hb_given(client_hb_info_p)) {
        return Hb_Failure;
    }
    *client_hb_info_p = client_hb_info;
    return Hb_Success;
}
