// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/event_record.h"

#include "hb_client.h"

namespace hbctl {
namespace {

template <typename Row> void set_all(std::vector<Row> &rows, Liveness state) {
    for (Row &row : rows) {
        row.state = state;
    }
}

template <typename Row, typename Key, typename Member>
void set_members(std::vector<Row> &rows, const std::unordered_map<Key, std::size_t> &index,
                 const std::vector<Member> &members, Liveness state) {
    for (const Member &member : members) {
        const auto found = index.find(member.number);
        if (found != index.end()) {
            rows[found->second].state = state;
        }
    }
}

} // namespace

void apply_event(const Event_Record &event, Picture &picture) {
    const bool new_group = event.kind == HB_EVENT_NEW_GROUP;
    if (!new_group && event.kind != HB_EVENT_DEATH && event.kind != HB_EVENT_JOIN) {
        return;
    }
    const Liveness state = event.kind == HB_EVENT_DEATH ? Liveness::down : Liveness::up;
    if (event.member_kind == Member_Kind::nodes) {
        if (new_group) {
            set_all(picture.nodes, Liveness::down);
        }
        set_members(picture.nodes, picture.node_at, event.nodes, state);
    } else if (event.member_kind == Member_Kind::adapters) {
        if (new_group) {
            set_all(picture.adapters, Liveness::down);
        }
        set_members(picture.adapters, picture.adapter_at, event.adapters, state);
    }
}

} // namespace hbctl
