// The daemon: its sources, its model and its publisher put together.
#ifndef WISPD_DAEMON_H
#define WISPD_DAEMON_H

#include <memory>
#include <string>

#include "daemon/sources/cluster_file.h"
#include "daemon/sources/timeline.h"

namespace wispd {

struct Start {
    std::string config_path;
    std::string socket_path;
    std::string control_path;
    Cluster_File file;
    std::vector<Timeline_Event> timeline;
};

class Daemon {
  public:
    // Clients can connect when it returns. Throws Start_Failure.
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

#endif
