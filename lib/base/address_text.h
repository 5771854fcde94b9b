// Addresses as text.
#ifndef HB_ADDRESS_TEXT_H
#define HB_ADDRESS_TEXT_H

#include "hb_client.h"
#include "qz_mox.h"

// Both write the address into buf, at least 46 bytes: dotted for an IPv4 address held in IPv6 form, IPv6 text
// for any other. They return buf.
char *wisplib_ntop(Hb_IP_address6 *addr, char *buf);
char *MOX_ntop(qz_mox_IP_address6_t *addr, char *buf);

#endif
