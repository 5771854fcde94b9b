// A daemon that listens and lets nobody in: its queue of waiting connections is full.
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

    // Takes those who fill the queue out of it.
    void make_room();
    // Takes the next one who waits; nothing at the deadline.
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
