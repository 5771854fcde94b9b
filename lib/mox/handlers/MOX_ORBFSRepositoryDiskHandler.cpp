// SPDX-License-Identifier: Apache-2.0
#include "lib/mox/handlers/MOX_ORBFSRepositoryDiskHandler.h"

#include <cstring>

#include "lib/hb_global_data/group_record.h"
#include "lib/mox/event_reading.h"

namespace {

constexpr MOX_Handler_Records RECORDS = {Hb_Trace_Id{}, HB_TR_REPOSITORY_READ_FAILED, Hb_Trace_Id{},
                                         HB_TR_REPOSITORY_NO_EVENT};

constexpr char EVENT_NAME[] = "Hb_Repository_Disk";

void fill(Hb_Group &group, uint32_t node, int event) {
    reset_node_membership_group_node_list(&group);
    auto &members = group.Hb_membership_grp_union.Hb_node_membership_grp;
    members.Hb_num_nodes = 0;
    if (node < HB_NODE_SLOTS) {
        members.Hb_node_list[node] = Hb_True;
        members.Hb_num_nodes = 1;
    }
    group.Hb_group_status = Hb_Group_Stable;
    group.Hb_group_type = Hb_Repository_Disk_Type;
    group.Hb_events = event;
}

} // namespace

ORBFSRepositoryDiskHandler::ORBFSRepositoryDiskHandler(char *name) : ORBFSHandler(name) {}

ORBFSRepositoryDiskHandler::~ORBFSRepositoryDiskHandler() = default;

Hb_Rc ORBFSRepositoryDiskHandler::handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) {
    const MOX_Event_Output out = {events, name, group, seqnum_p};
    return MOX_handle_event(
        orbfs_fd, QZ_ORB_EVENT_CATEGORY_REPOS_DISK, RECORDS, out, [&](const qz_orb_event_metadata_t &event) {
            const qz_orb_event_repos_disk_t &record = *event.event.p_repos_disk;
            *out.events = record.event_type == QZ_ORB_EVENT_UP ? HB_EVENT_JOIN : HB_EVENT_DEATH;
            hb_trace_values(HB_TRACE_INFO, HB_TR_REPOSITORY_EVENT, record.node_number, record.event_type);
            if (out.group != nullptr) {
                fill(*out.group, record.node_number, *out.events);
            }
            std::strcpy(out.name, EVENT_NAME);
            *out.sequence_number = 0;
            return Hb_Success;
        });
}
