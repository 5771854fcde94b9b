// SPDX-License-Identifier: Apache-2.0
// The HTTP library's server, with limits that hold for a whole request instead of each read.
#pragma once

#include <httplib.h>

namespace exporter {

class Bounded_Server : public httplib::Server {
  public:
    // Call it after the address is bound. The library lets only five connections wait; a further one tries again after
    // a second, and a scrape with it.
    bool let_bursts_wait();

  private:
    // A connection carries one request. Its head has to arrive within the read timeout, and to begin within the
    // keep-alive timeout.
    bool process_and_close_socket(socket_t descriptor) override;
};

} // namespace exporter
