// Brings new security keys into force: on command, and after the configured time.
#pragma once

#include <asio/steady_timer.hpp>

#include "cluster/keyring.h"
#include "daemon/publisher/shared_segments.h"

namespace wispd {

class Key_Rotation {
  public:
    // Publishes the keys in force. Both must outlive this.
    Key_Rotation(asio::io_context &context, Keyring &keyring, Shared_Segments &segments);

    // Throws Refused.
    void rotate();
    // From here on keys rotate by themselves, where the configuration says so.
    void begin();

  private:
    Keyring &keyring_;
    Shared_Segments &segments_;
    asio::steady_timer timer_;
};

} // namespace wispd
