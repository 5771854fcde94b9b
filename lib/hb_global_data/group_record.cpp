// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_global_data/group_record.h"

#include <algorithm>
#include <cstring>

void reset_node_membership_group_node_list(Hb_Group *group) {
    auto &nodes = group->Hb_membership_grp_union.Hb_node_membership_grp;
    std::memset(nodes.Hb_node_list, 0, sizeof nodes.Hb_node_list);
}

void hb_clear_adapter_list(Hb_Group *group, Hb_Adapter_Number count) {
    auto &adapters = group->Hb_membership_grp_union.Hb_adapter_membership_grp;
    const Hb_Adapter_Number bounded = std::min<Hb_Adapter_Number>(count, HB_ADAPTER_SLOTS);
    std::fill_n(adapters.Hb_adapter_list, bounded, HB_NOT_IN_GROUP);
}
