// SPDX-License-Identifier: Apache-2.0
// A daemon that listens but accepts no connection: its queue of waiting connections is full.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/support/environment_guard.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unique_fd.h"

namespace hb_test {

class Full_Listener {
  public:
    // Points HB_SERVER_SOCKET here and clears the two suffix variables.
    Full_Listener();

    // Accepts the connections that fill the queue.
    void make_room();
    // Accepts the next waiting connection; returns nothing at the deadline.
    Unique_Fd accept_next();
    // The same without a wait; returns nothing if no connection waits.
    Unique_Fd accept_waiting();

  private:
    Temp_Dir directory_;
    std::string path_ = directory_.file("s");
    Environment_Guard socket_{"HB_SERVER_SOCKET", path_};
    Environment_Guard domain_{"HA_DOMAIN_NAME", std::nullopt};
    Environment_Guard partition_{"HA_SYSPAR_NAME", std::nullopt};
    Unique_Fd listener_;
    std::vector<Unique_Fd> fillers_;
};

} // namespace hb_test
