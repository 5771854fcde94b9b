// SPDX-License-Identifier: Apache-2.0
// A client's request to change its node, independent of its encoding.
#pragma once

#include <cstdint>
#include <string>

#include "hb_client.h"
#include "lib/wire/hb_wire.h"

namespace wispd {

struct Node_Request {
    Hb_Client_Request kind = HB_GET_CONFIG_INFO;
    int64_t number = -1; // the node, adapter or network that the request concerns
    Hb_IP_address4 address{};
    int32_t seconds = 0;
    std::string interface; // empty: all interfaces
};

// The outcome of a request, as the client receives it.
enum Request_Status : int32_t {
    REQUEST_DONE = HB_STATUS_DONE,
    REQUEST_FAILED = HB_STATUS_FAILED,
    REQUEST_NOT_PERMITTED = HB_STATUS_NOT_PERMITTED,
    REQUEST_NOT_CONFIGURED = HB_STATUS_NOT_CONFIGURED,
    REQUEST_ADDRESS_IN_USE = HB_STATUS_ADDRESS_IN_USE,
    REQUEST_ADDRESS_UNFIT = HB_STATUS_ADDRESS_UNSUITABLE,
    REQUEST_GRACE_OUT_OF_RANGE = HB_STATUS_GRACE_OUT_OF_RANGE,
    REQUEST_ADAPTER_DOWN = HB_STATUS_ADAPTER_DOWN,
    REQUEST_GRACE_RUNNING = HB_STATUS_GRACE_RUNNING
};

} // namespace wispd
