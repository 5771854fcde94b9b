// SPDX-License-Identifier: Apache-2.0
// The network interfaces of this machine, and which addresses work on them now.
#pragma once

#include "hb_client.h"

namespace wispd {

class Local_Interfaces {
  public:
    Local_Interfaces() = default;
    Local_Interfaces(const Local_Interfaces &) = delete;
    Local_Interfaces &operator=(const Local_Interfaces &) = delete;
    virtual ~Local_Interfaces() = default;

    // Returns the descriptor to wait on for reading.
    virtual int descriptor() const = 0;
    // Reads what is available, without waiting.
    virtual void dispatch() = 0;
    // Returns whether an interface has the address, is up and has a carrier.
    virtual bool carries(const Hb_IP_address6 &address) const = 0;
};

} // namespace wispd
