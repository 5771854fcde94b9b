// Every trace record id of the library, each used by one trace point unless said otherwise. An id is never
// given to another point later: recorded traces and the message catalogue refer to it. 27, 154 and 201 are kept
// for cluster-event mode.
#ifndef HB_TRACE_IDS_H
#define HB_TRACE_IDS_H

#include <cstdint>

enum Hb_Trace_Id : uint32_t {
    HB_TR_SUBSCRIBE_NODE_WAKE_FAILED = 25,
    HB_TR_SUBSCRIBE_NETWORK_WAKE_FAILED = 26,
    HB_TR_SUBSCRIBE_NETWORK_WOKEN = 27,
    HB_TR_DELAYED_SHUTDOWN = 109,
    HB_TR_REMOVE_SOCKET = 110,
    HB_TR_REMOVE_CLIENT_SELECT = 111,
    HB_TR_LOAD_ADAPTER = 118,
    HB_TR_LOAD_DUPLICATE_ADDRESS = 119,
    HB_TR_ADAPTER_ITERATION_ENTRY = 135,
    HB_TR_ADAPTER_ITERATION_WRONG_TYPE = 136,
    HB_TR_ADAPTER_ITERATION_REACHED = 137,
    HB_TR_ADAPTER_ITERATION_CURSOR = 138, // at the end and at a hit
    HB_TR_NODE_BY_ADAPTER = 151,
    HB_TR_TYPE_BY_ADAPTER = 152,
    HB_TR_ADDRESS_BY_ADAPTER = 153,
    HB_TR_DELIVER_QUEUED_EVENT = 154,
    HB_TR_SUBSCRIBE_NODE_WOKEN = 201
};

#endif
