// What a client asks the daemon to do to its node, whatever bytes it came in.
#ifndef WISPD_NODE_REQUEST_H
#define WISPD_NODE_REQUEST_H

#include <cstdint>
#include <string>

#include "hb_client.h"
#include "lib/wire/hb_wire.h"

namespace wispd {

struct Node_Request {
    Hb_Client_Request kind = HB_GET_CONFIG_INFO;
    int64_t number = -1; // of the node, adapter or network that it is about
    Hb_IP_address4 address{};
    int32_t seconds = 0;
    std::string interface; // empty: every one
};

// How it ended, as the client is told.
enum Request_Status : int32_t {
    REQUEST_DONE = 0,
    REQUEST_FAILED = 1,
    REQUEST_NOT_PERMITTED = 3,
    REQUEST_NOT_CONFIGURED = 4,
    REQUEST_ADDRESS_IN_USE = 5,
    REQUEST_ADDRESS_UNFIT = 6,
    REQUEST_GRACE_OUT_OF_RANGE = 7,
    REQUEST_ADAPTER_DOWN = 8,
    REQUEST_GRACE_RUNNING = 9
};

} // namespace wispd

#endif
