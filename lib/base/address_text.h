// SPDX-License-Identifier: Apache-2.0
// Addresses as text.
#pragma once

#include "hb_client.h"
#include "qz_mox.h"

// Both write the address into buf, which has at least 46 bytes, and return buf. An IPv4 address in IPv6 form
// is written in dotted form, any other as IPv6 text.
char *wisplib_ntop(Hb_IP_address6 *addr, char *buf);
char *MOX_ntop(qz_mox_IP_address6_t *addr, char *buf);
