#include "lib/wire/event_view.h"

#include <cstring>

namespace {

bool pairs_fit(std::span<const char> body) {
    int32_t last = 0;
    if (body.size() < sizeof last) {
        return false;
    }
    std::memcpy(&last, body.data(), sizeof last);
    const int64_t room = static_cast<int64_t>((body.size() - sizeof last) / sizeof(Hb_Adapter_Event_Pair));
    return last >= -1 && last < room;
}

} // namespace

bool hb_membership_event_is_sound(std::span<const char> record, int max_nodes) {
    if (record.size() < static_cast<std::size_t>(HB_REPLY_HEADER_SIZE)) {
        return false;
    }
    int32_t kind = 0;
    std::memcpy(&kind, record.data(), sizeof kind);
    const std::span<const char> body = record.subspan(HB_REPLY_HEADER_SIZE);
    switch (kind) {
    case HB_ADAPTER_DEATH:
    case HB_ADAPTER_JOIN:
    case HB_ADAPTER_NEW_GROUP:
        return pairs_fit(body);
    case HB_NODE_DEATH:
    case HB_NODE_JOIN:
    case HB_NODE_NEW_GROUP:
        return max_nodes <= HB_NODE_SLOTS &&
               (max_nodes <= 0 || body.size() >= sizeof(Hb_Boolean) * static_cast<std::size_t>(max_nodes));
    case HB_NODE_HEARTBEAT:
        return body.size() >= sizeof(Hb_Heartbeat_Body);
    case HB_FFDC_ID:
        return true;
    case HB_DIFF_INSTANCE_NUM:
        return body.size() >= sizeof(diff_instance_info);
    default:
        return false;
    }
}
