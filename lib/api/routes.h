// SPDX-License-Identifier: Apache-2.0
// Routes to nodes. hb_client.h declares the public functions.
#pragma once

#include <cstdint>

// The largest request that hb_daemon_route_mcast sends, and its largest number of payload buffers.
inline constexpr uint64_t HB_ROUTING_REQUEST_MAX = 10000;
inline constexpr int HB_ROUTING_BUFFERS_MAX = 6;
