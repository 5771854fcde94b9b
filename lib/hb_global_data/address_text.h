// Addresses as text.
#ifndef HB_ADDRESS_TEXT_H
#define HB_ADDRESS_TEXT_H

#include "hb_client.h"

// Writes the address into buf, at least 46 bytes: dotted for an IPv4 address held in IPv6 form, IPv6 text
// for any other. Returns buf.
char *wisplib_ntop(Hb_IP_address6 *addr, char *buf);

#endif
