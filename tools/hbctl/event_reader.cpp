#include "tools/hbctl/event_reader.h"

#include <array>

#include "common/ip_address.h"
#include "common/printable.h"

namespace hbctl {
namespace {

constexpr Hb_Adapter_Number NOBODY = 0xFFFFFFFF;

bool carries_members(int kind) {
    return kind == HB_EVENT_DEATH || kind == HB_EVENT_JOIN || kind == HB_EVENT_NEW_GROUP;
}

Node_Member describe_node(Hb_Node_Number number, const Picture &picture) {
    Node_Member member;
    member.number = number;
    if (const Node_Row *row = picture.node(number)) {
        member.name = row->name;
        for (const std::uint32_t adapter : row->adapters) {
            if (const Adapter_Row *configured = picture.adapter(adapter)) {
                member.addresses.push_back(configured->address);
            }
        }
    }
    return member;
}

Adapter_Member describe_adapter(const Hb_Adapter_Identifier &id, const Picture &picture) {
    Adapter_Member member;
    member.number = id.Hb_adapter_number;
    member.incarnation = id.Hb_incarnation;
    member.removed = id.Hb_died_because_removed == Hb_True;
    if (const Adapter_Row *row = picture.adapter(member.number)) {
        member.node = row->node;
        member.network = row->network;
        member.address = row->address;
        member.type = row->type;
        member.name = row->name;
        if (const Network_Row *network = picture.network(row->network)) {
            member.network_name = network->name;
        }
    }
    return member;
}

void read_node_members(Hb_Group &group, const Picture &picture, Event_Record &event) {
    event.member_kind = Member_Kind::nodes;
    Hb_Node_Number node = -1;
    for (Hb_Rc rc = hb_get_first_node(&group, &node); rc == Hb_Success; rc = hb_get_next_node(&group, &node)) {
        event.nodes.push_back(describe_node(node, picture));
    }
}

void read_adapter_members(Hb_Group &group, const Picture &picture, Event_Record &event) {
    event.member_kind = Member_Kind::adapters;
    Hb_Adapter_Identifier id{};
    for (Hb_Rc rc = hb_get_first_adapter(&group, &id); rc == Hb_Success;
         rc = hb_get_next_adapter(&group, &id)) {
        event.adapters.push_back(describe_adapter(id, picture));
    }
    Hb_Group_Identifier identity{};
    // A cluster service's group has no leader.
    if (hb_get_group_id(&group, &identity) == Hb_Success && identity.Hb_adapter_number != NOBODY) {
        event.adapter_group = Adapter_Group{identity.Hb_adapter_number, identity.Hb_incarnation};
    }
}

void read_members(Hb_Group &group, const Picture &picture, Event_Record &event) {
    if (group.Hb_group_type == Hb_Node_Group) {
        read_node_members(group, picture, event);
    } else if (group.Hb_group_type == Hb_Adapter_Group) {
        read_adapter_members(group, picture, event);
    }
    int status = Hb_Group_Unstable;
    if (hb_get_group_status(&group, &status) == Hb_Success) {
        event.stable = status == Hb_Group_Stable;
    }
}

void read_ffdc_id(Hb_Group &group, Event_Record &event) {
    Hb_FFDC_Id id{};
    if (hb_get_FFDC_id(&group, &id) == Hb_Success) {
        id[HB_FFDC_ID_SIZE - 1] = '\0';
        event.ffdc_id = terminal::printable(id);
    }
}

void read_foreign_instance(Hb_Group &group, Event_Record &event) {
    diff_instance_info info{};
    if (hb_get_different_instance_sender(&group, &info) == Hb_Success) {
        event.member_kind = Member_Kind::instance;
        event.foreign = Foreign_Instance{common::address_text(info.addr), info.machinesInst};
    }
}

void read_heartbeat(Event_Record &event) {
    Hb_Client_Hb_Info info{};
    if (hb_get_client_hb_info(&info) == Hb_Success) {
        event.heartbeat = Heartbeat{info.client_hb_thresh.tv_sec, info.client_hb_thresh.tv_usec,
                                    info.client_hb_is_enabled != Hb_False, info.client_hb_daemon_pid};
    }
}

Site_Side describe_site(const Hb_Site_Info &info) {
    return Site_Side{info.site_number, info.node_number, std::nullopt};
}

void read_site_split(Hb_Group &group, Event_Record &event) {
    site_split_info info{};
    if (hb_get_site_split_info(&group, &info) == Hb_Success) {
        event.member_kind = Member_Kind::sites;
        event.sites = Site_Pair{describe_site(info.local_site), describe_site(info.remote_site)};
    }
}

void read_site_merge(Hb_Group &group, Event_Record &event) {
    site_merge_info info{};
    if (hb_get_site_merge_info(&group, &info) == Hb_Success) {
        event.member_kind = Member_Kind::sites;
        event.sites = Site_Pair{describe_site(info.local_site), describe_site(info.remote_site)};
        event.sites->local.nodes_up = info.num_local_up_nodes;
        event.sites->remote.nodes_up = info.num_remote_up_nodes;
    }
}

void read_details(Hb_Group &group, const Picture &picture, Event_Record &event) {
    if (carries_members(event.kind)) {
        read_members(group, picture, event);
        read_ffdc_id(group, event);
        return;
    }
    switch (event.kind) {
    case HB_EVENT_FFDC:
        read_ffdc_id(group, event);
        break;
    case HB_EVENT_DIFF_INSTANCE:
        read_foreign_instance(group, event);
        break;
    case HB_EVENT_HEARTBEAT:
        read_heartbeat(event);
        break;
    case HB_EVENT_SITE_SPLIT:
        read_site_split(group, event);
        break;
    case HB_EVENT_SITE_MERGE:
        read_site_merge(group, event);
        break;
    default:
        break;
    }
}

} // namespace

Event_Record read_event(int kind, const std::string &subscription, unsigned long sequence, Hb_Group &group,
                        const Picture &picture) {
    Event_Record event;
    event.sequence = static_cast<std::uint32_t>(sequence);
    event.time = std::chrono::system_clock::now();
    event.kind = kind;
    event.subscription = terminal::printable(subscription);
    read_details(group, picture, event);
    return event;
}

} // namespace hbctl
