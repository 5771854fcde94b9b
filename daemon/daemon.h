// The daemon: its sources, its model and its publisher put together.
#pragma once

#include <memory>
#include <string>

#include "cluster/description/timeline.h"
#include "daemon/configuration_file.h"
#include "daemon/engine_start.h"

namespace wispd {

struct Start {
    std::string config_path;
    std::string socket_path;
    std::string control_path;
    Configuration_File file;
    std::vector<Timeline_Event> timeline;
    Follow_Engine follow_engine; // throws std::runtime_error; asked only when the file says so
};

class Daemon {
  public:
    // Clients can connect when it returns. Waits for the cluster engine, where one is to be followed, as long as
    // its grace. Throws Start_Failure.
    explicit Daemon(Start start);
    Daemon(const Daemon &) = delete;
    Daemon &operator=(const Daemon &) = delete;
    // Removes everything that it made.
    ~Daemon();

    // Serves until it is told to stop.
    void run();

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace wispd
