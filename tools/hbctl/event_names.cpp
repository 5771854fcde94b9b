#include "tools/hbctl/event_names.h"

#include "hb_client.h"

#include <algorithm>
#include <array>

namespace hbctl {
namespace {

struct Name {
    int kind;
    const char *text;
    bool subscribable;
};

constexpr std::array names{
    Name{HB_EVENT_DEATH, "death", true},
    Name{HB_EVENT_JOIN, "join", true},
    Name{HB_EVENT_NEW_GROUP, "new-group", true},
    Name{HB_EVENT_HEARTBEAT, "heartbeat", true},
    Name{HB_EVENT_FFDC, "ffdc", false},
    Name{HB_EVENT_SITE_SPLIT, "site-split", false},
    Name{HB_EVENT_SITE_MERGE, "site-merge", false},
    Name{HB_EVENT_CONFIG, "configuration", false},
    Name{HB_EVENT_DIFF_INSTANCE, "different-instance", false},
};

} // namespace

std::string event_name(int kind) {
    const auto found =
        std::find_if(names.begin(), names.end(), [kind](const Name &name) { return name.kind == kind; });
    return found == names.end() ? "event-" + std::to_string(kind) : found->text;
}

std::optional<int> event_of_name(const std::string &text) {
    const auto found = std::find_if(names.begin(), names.end(),
                                    [&](const Name &name) { return name.subscribable && text == name.text; });
    if (found == names.end()) {
        return std::nullopt;
    }
    return found->kind;
}

std::string subscribable_event_names() {
    std::string all;
    for (const Name &name : names) {
        if (name.subscribable) {
            all += (all.empty() ? "" : ", ") + std::string(name.text);
        }
    }
    return all;
}

std::string member_kind_name(MemberKind kind) {
    switch (kind) {
    case MemberKind::nodes:
        return "nodes";
    case MemberKind::adapters:
        return "adapters";
    case MemberKind::instance:
        return "instance";
    case MemberKind::sites:
        return "sites";
    case MemberKind::none:
        break;
    }
    return "none";
}

std::string liveness_name(Liveness state) {
    switch (state) {
    case Liveness::up:
        return "up";
    case Liveness::down:
        return "down";
    case Liveness::unknown:
        break;
    }
    return "unknown";
}

std::string entity_state_name(int state) {
    switch (state) {
    case Hb_Entity_Up:
        return "up";
    case Hb_Entity_Down:
        return "down";
    default:
        return "unknown";
    }
}

std::string key_type_name(std::uint32_t type) {
    switch (type) {
    case SEC_KEY_TYPE_HMAC_SHA256:
        return "HMAC-SHA-256";
    case SEC_KEY_TYPE_HMAC_SHA512:
        return "HMAC-SHA-512";
    case SEC_KEY_TYPE_AES_CMAC:
        return "AES-CMAC";
    default:
        return "type " + std::to_string(type);
    }
}

} // namespace hbctl
