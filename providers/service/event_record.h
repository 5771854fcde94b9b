// SPDX-License-Identifier: Apache-2.0
// An event in the form that the service stores, and its conversion to the platform's records.
#pragma once

#include <cstdint>
#include <string>

#include "qz_mox.h"

namespace mox_service {

// The fields of all categories. Each category uses the fields that its record has.
struct Event_Record {
    qz_orb_event_category_t category = QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS;
    bool is_reconfiguration = false; // true: a cluster_reconfig record, whatever the category
    qz_orb_event_type_t type = QZ_ORB_EVENT_DOWN;
    uint32_t node = 0;
    uint64_t sequence = 0; // 0: the service assigns the number
    uint32_t reason = 0;
    std::string name;     // of the interface, the command or the disk
    bool has_name = true; // false: the text is null
    qz_mox_IP_address6_t address{};
    uint32_t site = 0;
    std::string site_name;
    qz_mox_uuid_t node_id{};
    qz_mox_uuid_t site_id{};
    qz_mox_uuid_t cluster_id{};
    uint32_t site_priority = 0;
    uint32_t site_policy = QZ_MOX_SITE_POLICY_PRIORITY;
    uint32_t local_nodes_up = 0;
    uint32_t remote_nodes_up = 0;
    qz_orb_site_reason_t site_reason = QZ_ORB_SITE_REASON_LINK_DOWN;
};

// Fills *event with a new record, which free_event() releases.
void make_event(const Event_Record &from, qz_orb_event_metadata_t *event);
void free_event(qz_orb_event_metadata_t *event);

} // namespace mox_service
