// SPDX-License-Identifier: Apache-2.0
#include "lib/wire/event_view.h"

#include <algorithm>

namespace {

template <typename Field> void copy_field(Field &field, const char *record, std::size_t offset) {
    std::memcpy(&field, record + offset, sizeof field);
}

template <typename Field> Field field_at(const char *record, std::size_t offset) {
    Field field;
    copy_field(field, record, offset);
    return field;
}

int32_t kind_of(const char *record) {
    return field_at<int32_t>(record, offsetof(client_packet, kind));
}

bool adapters_fit(std::span<const char> body) {
    if (body.size() < sizeof(int32_t)) {
        return false;
    }
    const auto last = field_at<int32_t>(body.data(), 0);
    const auto room = static_cast<int64_t>((body.size() - sizeof last) / sizeof(Hb_Adapter_Event_Pair));
    return last >= -1 && last < room;
}

bool nodes_fit(std::span<const char> body, int max_nodes) {
    return max_nodes <= HB_NODE_SLOTS &&
           (max_nodes <= 0 || body.size() >= sizeof(Hb_Boolean) * static_cast<std::size_t>(max_nodes));
}

Hb_Adapter_Event_View adapter_event(const char *record) {
    const char *body = record + HB_REPLY_HEADER_SIZE;
    const auto last = field_at<int32_t>(body, 0);
    Hb_Adapter_Event_View view = {
        kind_of(record),
        {},
        field_at<GSid_t>(record, offsetof(client_packet, leader_id)).word[0],
        field_at<GSgid_t>(record, offsetof(client_packet, group_id)).word[1],
        field_at<Hb_Group_Status>(record, offsetof(client_packet, group_status)),
        {body + sizeof last, last + 1},
    };
    copy_field(view.subscription_name, record, offsetof(client_packet, subscription_name));
    return view;
}

Hb_Node_Event_View node_event(const char *record, int max_nodes) {
    Hb_Node_Event_View view = {
        kind_of(record),
        {},
        field_at<Hb_Group_Status>(record, offsetof(client_packet, group_status)),
        {},
        {record + HB_REPLY_HEADER_SIZE, std::max(max_nodes, 0)},
    };
    copy_field(view.subscription_name, record, offsetof(client_packet, subscription_name));
    copy_field(view.ffdc_id, record, offsetof(client_packet, ffdc_id));
    return view;
}

Hb_Heartbeat_View heartbeat(const char *record) {
    Hb_Heartbeat_View view;
    copy_field(view.subscription_name, record, offsetof(client_packet, subscription_name));
    copy_field(view.heartbeat, record, HB_REPLY_HEADER_SIZE);
    return view;
}

Hb_Failure_Id_View failure_id(const char *record) {
    Hb_Failure_Id_View view;
    copy_field(view.ffdc_id, record, offsetof(client_packet, ffdc_id));
    return view;
}

Hb_Other_Instance_View other_instance(const char *record) {
    Hb_Other_Instance_View view;
    copy_field(view.subscription_name, record, offsetof(client_packet, subscription_name));
    copy_field(view.instance, record, HB_REPLY_HEADER_SIZE);
    return view;
}

const char *record_of(const client_packet *packet) {
    return reinterpret_cast<const char *>(packet);
}

std::optional<Hb_Event_View> only_if(bool is_whole, const auto &view) {
    return is_whole ? std::optional<Hb_Event_View>(view()) : std::nullopt;
}

} // namespace

std::optional<Hb_Event_View> hb_view_event(std::span<const char> record, int max_nodes) {
    if (record.size() < static_cast<std::size_t>(HB_REPLY_HEADER_SIZE)) {
        return std::nullopt;
    }
    const char *bytes = record.data();
    const std::span<const char> body = record.subspan(HB_REPLY_HEADER_SIZE);
    switch (kind_of(bytes)) {
    case HB_ADAPTER_DEATH:
    case HB_ADAPTER_JOIN:
    case HB_ADAPTER_NEW_GROUP:
        return only_if(adapters_fit(body), [&] { return adapter_event(bytes); });
    case HB_NODE_DEATH:
    case HB_NODE_JOIN:
    case HB_NODE_NEW_GROUP:
        return only_if(nodes_fit(body, max_nodes), [&] { return node_event(bytes, max_nodes); });
    case HB_NODE_HEARTBEAT:
        return only_if(body.size() >= sizeof(Hb_Heartbeat_Body), [&] { return heartbeat(bytes); });
    case HB_FFDC_ID:
        return failure_id(bytes);
    case HB_DIFF_INSTANCE_NUM:
        return only_if(body.size() >= sizeof(diff_instance_info), [&] { return other_instance(bytes); });
    default:
        return std::nullopt;
    }
}

Hb_Adapter_Event_View hb_trusted_adapter_event(const client_packet *packet) {
    return adapter_event(record_of(packet));
}

Hb_Node_Event_View hb_trusted_node_event(const client_packet *packet, int max_nodes) {
    return node_event(record_of(packet), max_nodes);
}

Hb_Heartbeat_View hb_trusted_heartbeat(const client_packet *packet) {
    return heartbeat(record_of(packet));
}
