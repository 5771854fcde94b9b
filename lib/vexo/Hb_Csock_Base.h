// SPDX-License-Identifier: Apache-2.0
// A connection to the daemon that carries whole records. A platform class adds the transport.
#pragma once

#include "hb_client.h"

class Hb_Csock_Base {
  public:
    Hb_Csock_Base();
    Hb_Csock_Base(const Hb_Csock_Base &) = delete;
    Hb_Csock_Base &operator=(const Hb_Csock_Base &) = delete;

    virtual ~Hb_Csock_Base();
    virtual long Error();

    // Sends one record of `len` bytes.
    virtual Hb_Rc send(char *buf, int len) = 0;
    // Receives one record into a new array of `len` bytes, which the caller frees with delete[].
    virtual Hb_Rc receive(char **buf, int &len) = 0;
    virtual int socket() const = 0;

    long myError;
};
