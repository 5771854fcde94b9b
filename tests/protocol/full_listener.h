// A daemon that listens but accepts no connection: its queue of waiting connections is full.
#ifndef HB_TEST_FULL_LISTENER_H
#define HB_TEST_FULL_LISTENER_H

#include <optional>
#include <string>
#include <vector>

#include "tests/support/environment_guard.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unique_fd.h"

namespace hb_test {

class FullListener {
  public:
    // Points HB_SERVER_SOCKET here and clears the two suffix variables.
    FullListener();

    // Accepts the connections that fill the queue.
    void make_room();
    // Accepts the next waiting connection; returns nothing at the deadline.
    UniqueFd accept_next();

  private:
    TempDir directory_;
    std::string path_ = directory_.file("s");
    EnvironmentGuard socket_{"HB_SERVER_SOCKET", path_};
    EnvironmentGuard domain_{"HA_DOMAIN_NAME", std::nullopt};
    EnvironmentGuard partition_{"HA_SYSPAR_NAME", std::nullopt};
    UniqueFd listener_;
    std::vector<UniqueFd> fillers_;
};

} // namespace hb_test

#endif
