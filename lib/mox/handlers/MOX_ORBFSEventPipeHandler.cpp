// SPDX-License-Identifier: Apache-2.0
#include "lib/mox/handlers/MOX_ORBFSEventPipeHandler.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <unistd.h>

#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/error_number.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/group_record.h"
#include "lib/hb_global_data/message_events.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/hb_global_data/table_dump.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/hb_global_data/working_table.h"
#include "lib/mox/handlers/event_pipe.h"

namespace {

constexpr char WAKE_UP = 1;

// A message from a node that was reported dead means that the node is up again. Returns false when the event
// is no news.
bool revive_node(Hb_Node_Number node) {
    Hb_Node_Entry *entry = hb_find_node(global_config_tbl, node);
    if (entry == nullptr) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_SPEAKER_UNKNOWN, int{node});
        return false;
    }
    if (entry->state != Hb_Entity_Down || entry->reason != Hb_Entity_State_Reason_KOBAL_Down) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_SPEAKER_NOT_REPORTED_DEAD, int{node}, entry->state, entry->reason);
        return false;
    }
    // A waiting table may have found the node down or removed for a reason of its own. It would not report
    // the node's death again, so the node must stay down.
    if (!MOX_is_reported_dead_in_waiting_tables(node)) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_SPEAKER_NOT_REPORTED_DEAD, int{node}, entry->state, entry->reason);
        return false;
    }
    entry->state = Hb_Entity_Up;
    entry->reason = Hb_Entity_State_Reason_KOBAL_Up;
    MOX_revive_node_in_waiting_tables(node);
    hb_trace_values(HB_TRACE_INFO, HB_TR_SPEAKER_REVIVED, int{node});
    return true;
}

const char *subscription_of(Hb_Group_Type type) {
    switch (type) {
    case Hb_Adapter_Group:
        return networkEventSubscriptionName;
    case Hb_Node_Group:
        return nodeEventSubscriptionName;
    case Hb_Site_Group:
        return siteEventSubscriptionName;
    default:
        return nullptr;
    }
}

} // namespace

ORBFSEventPipeHandler::ORBFSEventPipeHandler(int *fds, char *name) : ORBFSPipeHandler(fds, name) {}

ORBFSEventPipeHandler::ORBFSEventPipeHandler(char *name) : ORBFSPipeHandler(name) {}

ORBFSEventPipeHandler::~ORBFSEventPipeHandler() = default;

// The byte only means that something is queued. Nothing that happens here stops the handler.
void ORBFSEventPipeHandler::read_wake_up() {
    pollfd readable = {orbfs_fd, POLLIN, 0};
    const int ready = poll(&readable, 1, 0);
    if (ready < 0) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_EVENT_PIPE_POLL_FAILED, ready, errno);
        return;
    }
    if (ready == 0) {
        hb_trace_id(HB_TRACE_INFO, HB_TR_EVENT_PIPE_NOT_READY);
        return;
    }
    char byte = 0;
    const ssize_t got = read(orbfs_fd, &byte, 1);
    if (got < 0) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_EVENT_PIPE_READ_FAILED, -1, errno);
    } else if (got == 0) {
        hb_trace_id(HB_TRACE_INFO, HB_TR_EVENT_PIPE_END);
    } else if (byte != WAKE_UP) {
        set_hb_errno(HB_ERROR_BAD_WAKE_UP);
        hb_trace_values(HB_TRACE_INFO, HB_TR_EVENT_PIPE_ODD_BYTE, int{static_cast<unsigned char>(byte)});
    }
    if (readable.revents != POLLIN) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_EVENT_PIPE_ODD_READINESS, int{readable.revents});
    }
}

void ORBFSEventPipeHandler::copy_group(MOX_Event &ev, Hb_Group *group) {
    switch (ev.group.Hb_group_type) {
    case Hb_Adapter_Group:
        copy_adapter_Hb_Group(&ev.group, group);
        break;
    case Hb_Node_Group:
        if (group != nullptr) {
            reset_node_membership_group_node_list(group);
        }
        copy_node_Hb_Group(&ev.group, group);
        break;
    case Hb_Site_Group:
        if (ev.group.Hb_events == HB_EVENT_SITE_MERGE) {
            copy_site_merge_Hb_Group(&ev.group, group);
        } else if (ev.group.Hb_events == HB_EVENT_SITE_SPLIT) {
            copy_site_split_Hb_Group(&ev.group, group);
        }
        break;
    default:
        break;
    }
}

void ORBFSEventPipeHandler::deliver(MOX_Event &ev, const MOX_Event_Output &out) {
    *out.events = ev.group.Hb_events;
    const char *subscription = subscription_of(ev.group.Hb_group_type);
    if (subscription != nullptr) {
        copy_group(ev, out.group);
        if (!out.report(*out.events, subscription)) {
            hb_trace_values(HB_TRACE_INFO, HB_TR_DELIVER_UNSUBSCRIBED, ev.group.Hb_group_type,
                            ev.group.Hb_events);
        }
    }
    if (ev.group.Hb_events == HB_EVENT_CONFIG) {
        hb_trace_id(HB_TRACE_INFO, HB_TR_DELIVER_CONFIG_MARKER);
        MOX_install_table_of(&ev);
        hb_mox_dump_global_table(&global_config_tbl, "Event pipe handler: after copy");
        std::strcpy(out.name, HB_EVENT_NAME_CONFIG);
    }
}

Hb_Rc ORBFSEventPipeHandler::handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) {
    hb_trace_values(HB_TRACE_INFO, HB_TR_EVENT_PIPE_ENTRY, orbfs_fd);
    read_wake_up();
    const MOX_Event_Output out = {events, name, group, seqnum_p};
    out.report_no_event();
    if (MOX_event_queue_is_empty() != 0) {
        hb_trace_id(HB_TRACE_INFO, HB_TR_EVENT_PIPE_QUEUE_EMPTY);
        hb_trace_values(HB_TRACE_INFO, HB_TR_EVENT_PIPE_EXIT, orbfs_fd);
        return Hb_Success;
    }
    MOX_Event *ev = MOX_get_event_from_head();
    if (ev != nullptr) {
        if (ev->type == MOX_MESSAGE_RECEIVED && !revive_node(ev->node_num)) {
            // An event that the library made is reused for the next message. Any other event stays with its
            // maker.
            MOX_keep_message_event(ev);
            hb_trace_values(HB_TRACE_INFO, HB_TR_EVENT_PIPE_EXIT, orbfs_fd);
            return Hb_Success;
        }
        deliver(*ev, out);
        MOX_delete_event(ev);
    }
    const Hb_Rc result = MOX_write_to_event_pipe();
    hb_trace_values(HB_TRACE_INFO, HB_TR_EVENT_PIPE_EXIT, orbfs_fd);
    return result;
}
