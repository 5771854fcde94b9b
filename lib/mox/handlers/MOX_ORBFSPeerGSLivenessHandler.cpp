// SPDX-License-Identifier: Apache-2.0
#include "lib/mox/handlers/MOX_ORBFSPeerGSLivenessHandler.h"

#include "lib/hb_global_data/subscription_names.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/mox/event_reading.h"

namespace {

constexpr MOX_Handler_Records RECORDS = {Hb_Trace_Id{}, HB_TR_PEER_READ_FAILED, Hb_Trace_Id{},
                                         HB_TR_PEER_NO_EVENT};

// Applies the membership daemon's report and returns the event, or 0 if it is no news. A node that is down
// for another reason and the local node get their states elsewhere.
int apply_verdict(Hb_Node_Entry &node, bool up) {
    if (up) {
        if (node.state != Hb_Entity_Down || node.reason != Hb_Entity_State_Reason_KOBAL_Down) {
            return HB_EVENT_NONE;
        }
        node.state = Hb_Entity_Up;
        node.reason = Hb_Entity_State_Reason_KOBAL_Up;
        return HB_EVENT_JOIN;
    }
    if (node.state == Hb_Entity_Down || node.node_num == global_config_tbl.local_node_number) {
        return HB_EVENT_NONE;
    }
    node.state = Hb_Entity_Down;
    node.reason = Hb_Entity_State_Reason_KOBAL_Down;
    return HB_EVENT_DEATH;
}

} // namespace

ORBFSPeerGSLivenessHandler::ORBFSPeerGSLivenessHandler(char *name) : ORBFSHandler(name) {}

ORBFSPeerGSLivenessHandler::~ORBFSPeerGSLivenessHandler() = default;

Hb_Rc ORBFSPeerGSLivenessHandler::handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) {
    const MOX_Event_Output out = {events, name, group, seqnum_p};
    return MOX_handle_event(
        orbfs_fd, QZ_ORB_EVENT_CATEGORY_PROCESS_LIVENESS, RECORDS, out,
        [&](const qz_orb_event_metadata_t &event) {
            const qz_orb_event_process_liveness_t &record = *event.event.p_process_liveness;
            hb_trace_values(HB_TRACE_INFO, HB_TR_PEER_EVENT, record.node_number, record.event_type);
            Hb_Node_Entry *node = record.node_number < HB_NODE_SLOTS
                                      ? hb_find_node(global_config_tbl, static_cast<int>(record.node_number))
                                      : nullptr;
            if (node == nullptr) {
                hb_trace_values(HB_TRACE_INFO, HB_TR_PEER_UNKNOWN, record.node_number);
                out.report_no_event();
                return Hb_Success;
            }
            const int happened = apply_verdict(*node, record.event_type == QZ_ORB_EVENT_UP);
            fillInNodeEventInfo(node->node_num, happened, out.name, out.group);
            out.report_no_event();
            if (happened != HB_EVENT_NONE) {
                out.report(happened, nodeEventSubscriptionName);
            }
            return Hb_Success;
        });
}
