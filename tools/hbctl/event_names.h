// SPDX-License-Identifier: Apache-2.0
// The words for kinds of events, states and keys, which scripts rely on.
#pragma once

#include <optional>
#include <string>

#include "tools/hbctl/cluster_picture.h"
#include "tools/hbctl/event_record.h"

namespace hbctl {

// "death", "join", "new-group", "ffdc", "site-split", "site-merge", "configuration", "different-instance",
// "heartbeat"; "event-N" for any other number.
std::string event_name(int kind);

// Returns the event of that name, if it can be subscribed to; nothing for other words.
std::optional<int> event_of_name(const std::string &name);

// All words that event_of_name accepts: "death, join, ..."
std::string subscribable_event_names();

// "nodes", "adapters", "instance", "sites", "none"
std::string member_kind_name(Member_Kind kind);

// "up", "down", "unknown"
std::string liveness_name(Liveness state);
std::string entity_state_name(int state); // of an Hb_Entity_State

// "HMAC-SHA-256", "HMAC-SHA-512", "AES-CMAC"; "type N" for any other number.
std::string key_type_name(std::uint32_t type);

} // namespace hbctl
