// SPDX-License-Identifier: Apache-2.0
// Activates new security keys, on command and after the configured interval.
#pragma once

#include <asio/steady_timer.hpp>

#include "cluster/keyring.h"
#include "daemon/publisher/shared_segments.h"

namespace wispd {

class Key_Rotation {
  public:
    // Publishes the current keys. `keyring` and `segments` must outlive this object.
    Key_Rotation(asio::io_context &context, Keyring &keyring, Shared_Segments &segments);

    // Activates the next key. Throws Refused if that is not possible.
    void rotate();
    // Starts automatic rotation if the configuration sets an interval.
    void begin();

  private:
    Keyring &keyring_;
    Shared_Segments &segments_;
    asio::steady_timer timer_;
};

} // namespace wispd
