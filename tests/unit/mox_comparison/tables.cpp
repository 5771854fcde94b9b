// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/mox_comparison/tables.h"

#include <cstring>

#include <gtest/gtest.h>

#include "lib/hb_global_data/table_swap.h"

namespace hb_test {
namespace {

void fill(Hb_Configuration_Internal &table, const Plain_Table &plain) {
    ASSERT_TRUE(hb_make_table_lists(table, static_cast<int>(plain.adapters.size())));
    table.local_node_number = static_cast<Hb_Node_Number>(plain.local_node);
    table.Hb_max_nodes = HB_NODE_SLOTS;
    table.Hb_adapters_per_node = plain.adapters_per_node;
    table.Hb_num_networks = plain.networks;
    table.Hb_num_nodes = 0;
    table.Hb_num_adapters = 0;
    for (const Plain_Node &node : plain.nodes) {
        const int i = table.Hb_num_nodes++;
        table.node_list[i].node_num = static_cast<Hb_Node_Number>(node.number);
        table.node_list[i].state = node.state;
        hb_index_node(table, i);
    }
    for (const Plain_Adapter &adapter : plain.adapters) {
        const int i = table.Hb_num_adapters++;
        Hb_Adapter_Entry &entry = table.Hb_global_adapter_list[i];
        std::memcpy(&entry.Hb_ip_address, adapter.address.data(), adapter.address.size());
        std::strncpy(entry.Hb_adapter_type, adapter.name.c_str(), HB_ADAPTER_TYPE_SIZE - 1);
        entry.Hb_network = static_cast<Hb_Network_Number>(adapter.network);
        entry.Hb_adapter_num = adapter.number;
        entry.Hb_state = adapter.state;
        hb_index_adapter(table, i);
    }
}

} // namespace

std::array<unsigned char, 16> address(unsigned char last) {
    return {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 10, 0, 0, last};
}

Table::Table(const Plain_Table &plain) {
    fill(table_, plain);
}

Table::~Table() {
    empty_global_config_table(&table_);
}

Live_Table::Live_Table(const Plain_Table &plain) {
    fill(global_config_tbl, plain);
}

Live_Table::~Live_Table() {
    empty_global_config_table(&global_config_tbl);
}

const Hb_Adapter_Membership_Grp &Slot::adapter_group() const {
    return event_->group.Hb_membership_grp_union.Hb_adapter_membership_grp;
}

const Hb_Node_Membership_Grp &Slot::node_group() const {
    return event_->group.Hb_membership_grp_union.Hb_node_membership_grp;
}

std::vector<unsigned> Slot::adapters() const {
    std::vector<unsigned> members;
    for (unsigned i = 0; event_ != nullptr && i < 98352; ++i) {
        const auto entry = static_cast<uint32_t>(adapter_group().Hb_adapter_list[i]);
        if (entry == 0) {
            members.push_back(i);
        } else if (entry != 0xFFFFFFFF) {
            ADD_FAILURE() << "entry " << i << " of the adapter list is " << entry;
            break;
        }
    }
    return members;
}

std::vector<int> Slot::nodes() const {
    std::vector<int> members;
    for (int i = 0; event_ != nullptr && i < 2049; ++i) {
        if (node_group().Hb_node_list[i] == Hb_True) {
            members.push_back(i);
        } else if (node_group().Hb_node_list[i] != Hb_False) {
            ADD_FAILURE() << "entry " << i << " of the node list is " << node_group().Hb_node_list[i];
            break;
        }
    }
    return members;
}

} // namespace hb_test
