// SPDX-License-Identifier: Apache-2.0
#include "lib/mox/handlers/MOX_ORBFSIPChangeEventHandler.h"

#include <cstring>

#include "lib/base/address_text.h"
#include "lib/mox/adapter_index.h"
#include "lib/mox/event_reading.h"

namespace {

constexpr MOX_Handler_Records RECORDS = {HB_TR_IP_CHANGE_HANDLER_ENTRY, HB_TR_IP_CHANGE_READ_FAILED,
                                         HB_TR_IP_CHANGE_HANDLER_EXIT, HB_TR_IP_CHANGE_NO_EVENT};

const char *interface_of(const qz_orb_event_ip_change_t &record) {
    return record.p_interface_name != nullptr ? record.p_interface_name : "";
}

void trace_record(const qz_orb_event_ip_change_t &record) {
    if (!hb_trace_on(HB_TRACE_INFO)) {
        return;
    }
    const Hb_Errno_Keeper kept;
    qz_mox_IP_address6_t given = record.ip_addr;
    char address[INET6_ADDRSTRLEN];
    MOX_ntop(&given, address);
    const char *name = interface_of(record);
    tr_ms_record_data_1(HB_TRACE_COMPONENT, HB_TR_IP_CHANGE_EVENT, pTokens[HB_TRACE_INFO], 4, name,
                        static_cast<int>(std::strlen(name) + 1), address,
                        static_cast<int>(std::strlen(address) + 1), &record.node_number, 4, &record.event_type,
                        4);
}

// Returns whether the table already has the address on the same interface.
bool is_known(const qz_orb_event_ip_change_t &record) {
    const Hb_Configuration_Internal &table = global_config_tbl;
    if (table.ip_hash == nullptr) {
        return false;
    }
    const auto *adapter = static_cast<const Hb_Adapter_Entry *>(
        Hash_search_IPv6(reinterpret_cast<const H_IPv6_key_t *>(&record.ip_addr), table.ip_hash));
    return adapter != nullptr && MOX_node_of(table, *adapter) == record.node_number &&
           std::strncmp(adapter->Hb_adapter_type, interface_of(record), HB_ADAPTER_TYPE_SIZE) == 0;
}

} // namespace

ORBFSIPChangeEventHandler::ORBFSIPChangeEventHandler(char *name) : ORBFSConfigurationHandler(name) {}

ORBFSIPChangeEventHandler::~ORBFSIPChangeEventHandler() = default;

Hb_Rc ORBFSIPChangeEventHandler::handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) {
    MOX_trace_handler(RECORDS.entry, orbfs_fd);
    const MOX_Event_Output out = {events, name, group, seqnum_p};
    return MOX_handle_event(orbfs_fd, QZ_ORB_EVENT_CATEGORY_IP_CHANGE, RECORDS, out,
                            [&](const qz_orb_event_metadata_t &event) { return process(event, out); });
}

Hb_Rc ORBFSIPChangeEventHandler::process(const qz_orb_event_metadata_t &event, const MOX_Event_Output &out) {
    const qz_orb_event_ip_change_t &record = *event.event.p_ip_change;
    trace_record(record);
    if (record.event_type != QZ_ORB_ADDRESS_ADD && record.event_type != QZ_ORB_ADDRESS_DELETE) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_IP_CHANGE_ODD_TYPE, record.event_type);
        return Hb_Failure;
    }
    if (record.event_type == QZ_ORB_ADDRESS_ADD && is_known(record)) {
        hb_trace_values(HB_TRACE_INFO, HB_TR_IP_CHANGE_KNOWN, record.node_number);
        *out.events = HB_EVENT_NONE;
        fillInOneAdapterEvent(out.events, out.name, out.group, out.sequence_number);
    }
    qz_orb_event_metadata_t about = event;
    about.category = QZ_ORB_EVENT_CATEGORY_IP_CHANGE;
    return rebuild_table(out, &about);
}
