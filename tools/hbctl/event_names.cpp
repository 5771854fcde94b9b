// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/event_names.h"

#include <algorithm>
#include <array>

#include "hb_client.h"

namespace hbctl {
namespace {

struct Name {
    int kind;
    const char *text;
    bool subscribable;
};

constexpr std::array NAMES{
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
        std::find_if(NAMES.begin(), NAMES.end(), [kind](const Name &name) { return name.kind == kind; });
    return found == NAMES.end() ? "event-" + std::to_string(kind) : found->text;
}

std::optional<int> event_of_name(const std::string &text) {
    const auto found = std::find_if(NAMES.begin(), NAMES.end(),
                                    [&](const Name &name) { return name.subscribable && text == name.text; });
    if (found == NAMES.end()) {
        return std::nullopt;
    }
    return found->kind;
}

std::string subscribable_event_names() {
    std::string all;
    for (const Name &name : NAMES) {
        if (name.subscribable) {
            all += (all.empty() ? "" : ", ") + std::string(name.text);
        }
    }
    return all;
}

std::string member_kind_name(Member_Kind kind) {
    switch (kind) {
    case Member_Kind::nodes:
        return "nodes";
    case Member_Kind::adapters:
        return "adapters";
    case Member_Kind::instance:
        return "instance";
    case Member_Kind::sites:
        return "sites";
    case Member_Kind::none:
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
