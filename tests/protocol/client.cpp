// SPDX-License-Identifier: Apache-2.0
#include "tests/protocol/client.h"

#include <cstring>

#include "tests/support/hb_communication.h"
#include "tests/support/hb_global_data.h"

namespace hb_test {

void open_library() {
    ASSERT_EQ(Hb_Success, hb_init()) << "error " << hb_get_errno();
}

Event_Call::Event_Call() : group(new Hb_Group) {
    std::memset(group.get(), UNTOUCHED, sizeof *group);
    std::memset(name, UNTOUCHED, sizeof name);
}

Hb_Rc Event_Call::take() {
    int descriptors[2] = {client_socket != nullptr ? client_socket->socket() : 0, -1};
    return hb_get_event_message(descriptors, nullptr, &events, name, group.get(), &sequence);
}

Hb_Rc Event_Call::take(timeval timeout) {
    int descriptors[2] = {client_socket != nullptr ? client_socket->socket() : 0, -1};
    return hb_get_event_message(descriptors, &timeout, &events, name, group.get(), &sequence);
}

Bytes untouched_group() {
    return Bytes().fill(393480, UNTOUCHED);
}

Bytes library_state() {
    Bytes state = bytes_of(global_config_tbl);
    if (global_config_tbl.Hb_global_adapter_list != nullptr) {
        state.add(
            bytes_of(global_config_tbl.Hb_global_adapter_list,
                     sizeof(Hb_Adapter_Entry) * static_cast<std::size_t>(global_config_tbl.Hb_num_adapters)));
    }
    if (global_config_tbl.node_list != nullptr) {
        state.add(bytes_of(global_config_tbl.node_list, sizeof(Hb_Node_Entry) * HB_NODE_SLOTS));
    }
    for (const H_table_str *hash :
         {global_config_tbl.adap_hash, global_config_tbl.ip_hash, global_config_tbl.node_hash}) {
        state.i32(hash != nullptr ? Hash_entries(hash) : -1);
    }
    state.add(bytes_of(global_node_tbl)).i32(global_num_nodes);
    return state.add(bytes_of(client_hb_info));
}

Hb_Entity_State adapter_state(Hb_Adapter_Number adapter) {
    return hb_get_adap_entry(adapter)->Hb_state;
}

Bytes adapter_body(const std::vector<std::pair<int64_t, int64_t>> &pairs) {
    Bytes body;
    body.i32(static_cast<int64_t>(pairs.size()) - 1);
    for (const auto &[adapter, incarnation] : pairs) {
        body.i32(adapter).i32(incarnation);
    }
    return body;
}

Bytes node_body(const std::vector<int64_t> &entries) {
    Bytes body;
    for (const int64_t entry : entries) {
        body.i32(entry);
    }
    return body;
}

} // namespace hb_test
