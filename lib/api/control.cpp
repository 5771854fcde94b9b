// SPDX-License-Identifier: Apache-2.0
#include "lib/api/control.h"

#include <cstring>
#include <initializer_list>

#include "lib/api/argument_check.h"
#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/error_number.h"
#include "lib/hb_communication/reply.h"
#include "lib/hb_communication/request.h"
#include "lib/hb_global_data/configuration_table.h"

const timeval reply_from_server_deftimeout = {55, 0};

namespace {

// The arithmetic is wide and signed, so that a negative local node number owns no adapter.
bool is_local(Hb_Adapter_Number adapter) {
    const int64_t node = global_config_tbl.local_node_number;
    const int64_t per_node = global_config_tbl.Hb_adapters_per_node;
    return node * per_node <= int64_t{adapter} && int64_t{adapter} < (node + 1) * per_node;
}

// Returns the adapter's entry, or null with the error number set.
const Hb_Adapter_Entry *configured_adapter(Hb_Adapter_Number adapter) {
    if (adapter >= hb_adapter_number_bound(global_config_tbl)) {
        set_hb_errno(HB_ERROR_BAD_ARGUMENT);
        return nullptr;
    }
    const Hb_Adapter_Entry *entry = hb_get_adap_entry(adapter);
    if (entry == &HB_INVALID_ADAP) {
        set_hb_errno(HB_ERROR_ADAPTER_NOT_CONFIGURED);
        return nullptr;
    }
    return entry;
}

// A status in a reply's `value`, and the error number for it.
struct Status_Error {
    int32_t status;
    int error;
};

// Rows that several entries share.
constexpr Status_Error FAILED = {HB_STATUS_FAILED, HB_ERROR_REQUEST_FAILED};
constexpr Status_Error NOT_PERMITTED = {HB_STATUS_NOT_PERMITTED, HB_ERROR_REQUEST_REFUSED};
constexpr Status_Error NOT_CONFIGURED = {HB_STATUS_NOT_CONFIGURED, HB_ERROR_ADAPTER_NOT_CONFIGURED};

Hb_Rc result_of(int32_t status, std::initializer_list<Status_Error> rows) {
    if (status == HB_STATUS_DONE) {
        return Hb_Success;
    }
    for (const Status_Error &row : rows) {
        if (row.status == status) {
            return hb_fail(row.error);
        }
    }
    return hb_fail(HB_ERROR_UNEXPECTED_REPLY);
}

// Returns the entry of an adapter of this node, or null with the error number set.
const Hb_Adapter_Entry *local_adapter(Hb_Adapter_Number adapter) {
    const Hb_Adapter_Entry *entry = configured_adapter(adapter);
    if (entry != nullptr && !is_local(adapter)) {
        set_hb_errno(HB_ERROR_BAD_ARGUMENT);
        return nullptr;
    }
    return entry;
}

Hb_Rc send_about(const Hb_Adapter_Entry &entry, Hb_Client_Request request, const void *data) {
    Hb_Local_Adapter_Body body = {};
    body.network = entry.Hb_network;
    if (data == nullptr) {
        return hb_send(request, &body, sizeof body.network);
    }
    std::memcpy(&body.data, data, sizeof body.data);
    return hb_send(request, &body, sizeof body);
}

// Sends a request about a local adapter and waits for the reply.
Hb_Rc request_and_await_reply(unsigned int adapter_num, Hb_Client_Request request, const void *data,
                              Hb_Client_Reply reply, const timeval *timeout, Hb_Packet &packet) {
    const Hb_Adapter_Entry *entry = local_adapter(adapter_num);
    if (entry == nullptr) {
        return Hb_Failure;
    }
    if (!hb_can_await_reply()) {
        return hb_fail(HB_ERROR_RECEIVE_FAILED);
    }
    if (send_about(*entry, request, data) != Hb_Success) {
        return Hb_Failure;
    }
    timeval limit = timeout != nullptr ? *timeout : timeval{};
    client_packet *received = nullptr;
    int length = 0;
    if (hb_get_reply_from_server(reply, received, timeout != nullptr ? &limit : nullptr, &length) !=
        Hb_Success) {
        return Hb_Failure;
    }
    packet = Hb_Packet(received, length);
    return Hb_Success;
}

Hb_Rc change_adapter(unsigned int adapter_num, Hb_Client_Request request, const void *data,
                     std::initializer_list<Status_Error> rows) {
    Hb_Packet packet;
    if (request_and_await_reply(adapter_num, request, data, HB_CONFIG_ADAPTER, &reply_from_server_deftimeout,
                                packet) != Hb_Success) {
        return Hb_Failure;
    }
    return result_of(packet.get()->value, rows);
}

Hb_Rc report_node(short node_num, Hb_Client_Request request) {
    return hb_init() == Hb_Success ? hb_notify_node_down(node_num, request) : Hb_Failure;
}

Hb_Rc report_adapter(unsigned int adapter_num, Hb_Client_Request request) {
    return hb_init() == Hb_Success ? hb_notify_adapter_down(adapter_num, request) : Hb_Failure;
}

Hb_Rc request_for_local_adapter(unsigned int adapter_num, Hb_Client_Request request) {
    return hb_init() == Hb_Success ? hb_config_local_adapter(adapter_num, request, nullptr) : Hb_Failure;
}

Hb_Rc send_request(Hb_Client_Request request, void *data, int length) {
    return hb_init() == Hb_Success ? hb_send(request, data, length) : Hb_Failure;
}

Hb_IP_address6 mapped(Hb_IP_address4 address) {
    Hb_IP_address6 result = {};
    result.v4_in_v6.filler[2] = htonl(0xFFFF);
    result.v4_in_v6.v4_in_v6_ipv4 = address.s_addr;
    return result;
}

} // namespace

Hb_Rc hb_notify_node_down(short node_num, Hb_Client_Request msg_type) {
    if (node_num < 0 || node_num >= global_config_tbl.Hb_max_nodes || node_num >= HB_NODE_SLOTS) {
        return hb_fail(HB_ERROR_BAD_ARGUMENT);
    }
    if (global_node_tbl[node_num] == Hb_False) {
        return hb_fail(HB_ERROR_NODE_NOT_CONFIGURED);
    }
    return hb_send(msg_type, nullptr, node_num);
}

Hb_Rc hb_notify_adapter_down(unsigned int adapter_num, Hb_Client_Request msg_type) {
    if (configured_adapter(adapter_num) == nullptr) {
        return Hb_Failure;
    }
    return hb_send(msg_type, nullptr, static_cast<int>(adapter_num));
}

Hb_Rc hb_config_local_adapter(unsigned int adapter_num, Hb_Client_Request msg_type, void *data) {
    const Hb_Adapter_Entry *entry = local_adapter(adapter_num);
    return entry != nullptr ? send_about(*entry, msg_type, data) : Hb_Failure;
}

Hb_Rc hb_node_may_be_down(short node_num) {
    return report_node(node_num, HB_NODE_MAY_BE_DOWN);
}

Hb_Rc hb_node_is_down(short node_num) {
    return report_node(node_num, HB_NODE_IS_DOWN);
}

Hb_Rc hb_adapter_may_be_down(unsigned int adapter_num) {
    return report_adapter(adapter_num, HB_ADAPTER_MAY_BE_DOWN);
}

Hb_Rc hb_adapter_is_down(unsigned int adapter_num) {
    return report_adapter(adapter_num, HB_ADAPTER_IS_DOWN);
}

Hb_Rc hb_enable_adapter(unsigned int adapter_num) {
    return request_for_local_adapter(adapter_num, HB_ENABLE_ADAPTER);
}

Hb_Rc hb_disable_adapter(unsigned int adapter_num) {
    return request_for_local_adapter(adapter_num, HB_DISABLE_ADAPTER);
}

Hb_Rc hb_ifconfig_down(unsigned int adapter_num) {
    return request_for_local_adapter(adapter_num, HB_IFCONFIG_DOWN);
}

Hb_Rc hb_ifconfig_up(unsigned int adapter_num) {
    return request_for_local_adapter(adapter_num, HB_IFCONFIG_UP);
}

Hb_Rc hb_configure_adapter(unsigned int adapter_num, Hb_IP_address4 address) {
    if (hb_init() != Hb_Success) {
        return Hb_Failure;
    }
    return change_adapter(adapter_num, HB_CONFIGURE_ADAPTER, &address,
                          {FAILED,
                           NOT_PERMITTED,
                           NOT_CONFIGURED,
                           {HB_STATUS_ADDRESS_IN_USE, HB_ERROR_ADDRESS_IN_USE},
                           {HB_STATUS_ADDRESS_UNSUITABLE, HB_ERROR_ADDRESS_UNSUITABLE}});
}

Hb_Rc hb_unconfigure_adapter(unsigned int adapter_num) {
    if (hb_init() != Hb_Success) {
        return Hb_Failure;
    }
    return change_adapter(adapter_num, HB_UNCONFIGURE_ADAPTER, nullptr,
                          {FAILED, NOT_PERMITTED, NOT_CONFIGURED});
}

Hb_Rc hb_swap_adapters(unsigned int adapter_num, Hb_IP_address4 address) {
    if (hb_init() != Hb_Success) {
        return Hb_Failure;
    }
    Hb_Adapter_Number owner = 0;
    if (hb_get_adapter_number_by_address(mapped(address), &owner) != Hb_Success) {
        return Hb_Failure;
    }
    if (hb_get_adap_entry(owner) == &HB_INVALID_ADAP) {
        return hb_fail(HB_ERROR_ADAPTER_NOT_CONFIGURED);
    }
    if (!is_local(owner)) {
        return hb_fail(HB_ERROR_BAD_ARGUMENT);
    }
    return change_adapter(adapter_num, HB_SWAP_ADAPTERS, &address, {FAILED, NOT_PERMITTED, NOT_CONFIGURED});
}

Hb_Rc hb_adapter_grace(unsigned int adapter_num, int seconds) {
    if (hb_init() != Hb_Success) {
        return Hb_Failure;
    }
    Hb_Packet packet;
    if (request_and_await_reply(adapter_num, HB_ADAPTER_GRACE_REQ, &seconds, HB_ADAPTER_GRACE, nullptr,
                                packet) != Hb_Success) {
        return Hb_Failure;
    }
    return result_of(packet.get()->value, {FAILED,
                                           {HB_STATUS_GRACE_OUT_OF_RANGE, HB_ERROR_GRACE_OUT_OF_RANGE},
                                           {HB_STATUS_ADAPTER_DOWN, HB_ERROR_ADAPTER_DOWN},
                                           {HB_STATUS_GRACE_RUNNING, HB_ERROR_GRACE_RUNNING}});
}

Hb_Rc hb_get_adapter_state(unsigned int adapter_num, int *state) {
    if (!hb_ready(state)) {
        return Hb_Failure;
    }
    Hb_Packet packet;
    if (request_and_await_reply(adapter_num, HB_GET_ADAPTER_STATE, nullptr, HB_ADAPTER_STATE,
                                &reply_from_server_deftimeout, packet) != Hb_Success) {
        return Hb_Failure;
    }
    if (result_of(packet.get()->value, {FAILED, NOT_CONFIGURED}) != Hb_Success) {
        return Hb_Failure;
    }
    int32_t word = 0;
    if (packet.bytes().size() < HB_REPLY_HEADER_SIZE + sizeof word) {
        return hb_fail(HB_ERROR_UNEXPECTED_REPLY);
    }
    std::memcpy(&word, packet.get()->message, sizeof word);
    *state = word;
    return Hb_Success;
}

Hb_Rc hb_simulate_death(int slept_sec) {
    return send_request(HB_SIMULATE_DEATH, &slept_sec, sizeof slept_sec);
}

Hb_Rc hb_discard_stale_messages(int discard_flag) {
    return send_request(discard_flag == 1 ? HB_DISCARD_STALE_MESSAGES : HB_DONT_DISCARD_STALE_MESSAGES, nullptr,
                        0);
}

Hb_Rc hb_client_heartbeat(unsigned long seqnum) {
    auto word = static_cast<uint32_t>(seqnum);
    return send_request(HB_CLIENT_HEARTBEAT, &word, sizeof word);
}

Hb_Rc hb_nim_manual_start_control(int ctrl, char *interface) {
    if (!hb_ready(interface)) {
        return Hb_Failure;
    }
    if (ctrl != HB_NIM_MANCTRL_ENABLE && ctrl != HB_NIM_MANCTRL_DISABLED) {
        return hb_fail(HB_ERROR_BAD_ARGUMENT);
    }
    return hb_send(ctrl == HB_NIM_MANCTRL_ENABLE ? HB_ENABLE_MANUAL_CONTROL_NIMS
                                                 : HB_DISABLE_MANUAL_CONTROL_NIMS,
                   interface, static_cast<int>(std::strlen(interface)));
}

Hb_Rc hb_mox_delayed_daemon_shutdown() {
    if (hb_init() != Hb_Success) {
        return Hb_Failure;
    }
    hb_trace_id(HB_TRACE_INFO, HB_TR_DELAYED_SHUTDOWN);
    return hb_send(HB_DELAYED_DAEMON_SHUTDOWN, nullptr, 0);
}
