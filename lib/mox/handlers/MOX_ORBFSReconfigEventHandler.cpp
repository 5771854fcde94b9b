// SPDX-License-Identifier: Apache-2.0
#include "lib/mox/handlers/MOX_ORBFSReconfigEventHandler.h"

#include "lib/mox/event_reading.h"

namespace {

constexpr MOX_Handler_Records RECORDS = {Hb_Trace_Id{}, HB_TR_RECONFIG_READ_FAILED, Hb_Trace_Id{},
                                         HB_TR_RECONFIG_NO_EVENT};

} // namespace

ORBFSReconfigEventHandler::ORBFSReconfigEventHandler(char *name) : ORBFSConfigurationHandler(name) {}

ORBFSReconfigEventHandler::~ORBFSReconfigEventHandler() = default;

Hb_Rc ORBFSReconfigEventHandler::handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) {
    const MOX_Event_Output out = {events, name, group, seqnum_p};
    return MOX_handle_event(
        orbfs_fd, QZ_ORB_MONITOR_CLUSTER_RECONFIG, RECORDS, out,
        [&](const qz_orb_event_metadata_t &event) {
            const qz_orb_event_cluster_reconfig_t *record = event.event.p_cluster_reconfig;
            if (record != nullptr) {
                hb_trace_values(HB_TRACE_INFO, HB_TR_RECONFIG_EVENT,
                                static_cast<uint32_t>(record->sequence_number), record->reason_number);
            }
            return rebuild_table(out, nullptr);
        },
        MOX_Record_Use::not_needed);
}
