// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/permission.h"

#include <optional>
#include <sys/socket.h>
#include <unistd.h>

#include "hb_client.h"

namespace hbctl {
namespace {

constexpr int INVALID_GRACE = -1;

std::optional<uid_t> user_of_daemon() {
    int *descriptors = nullptr;
    int count = 0;
    if (hb_get_file_descriptor_array(&descriptors, &count) != Hb_Success) {
        return std::nullopt;
    }
    ucred peer{};
    socklen_t size = sizeof peer;
    const bool known = count > 0 && getsockopt(descriptors[0], SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0;
    hb_free_file_descriptor_array(descriptors);
    return known ? std::optional(peer.uid) : std::nullopt;
}

std::optional<Hb_Adapter_Number> adapter_of_this_node() {
    Hb_Node_Number node = -1;
    Hb_Adapter_Number adapter = 0;
    Hb_Cursor cursor = 0;
    if (hb_get_my_node_number(&node) != Hb_Success ||
        hb_get_first_configured_adapter_in_node(node, &adapter, &cursor) != Hb_Success) {
        return std::nullopt;
    }
    return adapter;
}

} // namespace

Permission permission_to_act() {
    if (geteuid() == 0 || user_of_daemon() == geteuid()) {
        return Permission::given;
    }
    const std::optional<Hb_Adapter_Number> adapter = adapter_of_this_node();
    if (!adapter || hb_adapter_grace(*adapter, INVALID_GRACE) == Hb_Success) {
        return Permission::unknown;
    }
    switch (hb_get_errno()) {
    case HB_ERROR_GRACE_OUT_OF_RANGE:
        return Permission::given;
    case HB_ERROR_REQUEST_FAILED:
        return Permission::refused;
    default:
        return Permission::unknown;
    }
}

} // namespace hbctl
