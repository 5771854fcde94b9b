// SPDX-License-Identifier: Apache-2.0
#include "lib/mox/handlers/MOX_ORBFSNodeListHandler.h"

#include "lib/mox/event_reading.h"

namespace {

constexpr MOX_Handler_Records RECORDS = {HB_TR_NODE_LIST_HANDLER_ENTRY, HB_TR_NODE_LIST_READ_FAILED,
                                         HB_TR_NODE_LIST_HANDLER_EXIT, HB_TR_NODE_LIST_NO_EVENT};

} // namespace

ORBFSNodeListHandler::ORBFSNodeListHandler(char *name) : ORBFSConfigurationHandler(name) {}

ORBFSNodeListHandler::~ORBFSNodeListHandler() = default;

Hb_Rc ORBFSNodeListHandler::handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) {
    MOX_trace_handler(RECORDS.entry, orbfs_fd);
    const MOX_Event_Output out = {events, name, group, seqnum_p};
    return MOX_handle_event(
        orbfs_fd, QZ_ORB_EVENT_CATEGORY_NODE_LIST, RECORDS, out,
        [&](const qz_orb_event_metadata_t &event) {
            qz_orb_event_metadata_t about = event;
            return rebuild_table(out, &about);
        },
        MOX_Record_Use::not_needed);
}
