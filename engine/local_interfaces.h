// The interfaces of this machine: which addresses can be reached through them now.
#pragma once

#include "hb_client.h"

namespace wispd {

class Local_Interfaces {
  public:
    Local_Interfaces() = default;
    Local_Interfaces(const Local_Interfaces &) = delete;
    Local_Interfaces &operator=(const Local_Interfaces &) = delete;
    virtual ~Local_Interfaces() = default;

    // To be waited on for reading.
    virtual int descriptor() const = 0;
    // Reads what there is, without waiting.
    virtual void dispatch() = 0;
    // Whether an interface has the address, is up and has a carrier.
    virtual bool carries(const Hb_IP_address6 &address) const = 0;
};

} // namespace wispd
