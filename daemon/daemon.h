// SPDX-License-Identifier: Apache-2.0
// The daemon: connects the sources of changes, the cluster model and the publisher.
#pragma once

#include <memory>
#include <string>

#include "cluster/description/timeline.h"
#include "daemon/configuration_file.h"
#include "daemon/engine_start.h"
#include "host/service_notify.h"

namespace wispd {

struct Start {
    std::string version;
    std::string config_path;
    std::string socket_path;
    std::string control_path;
    Configuration_File file;
    std::vector<Timeline_Event> timeline;
    // Called only if the file configures an engine. Throws std::runtime_error.
    Follow_Engine follow_engine;
    Service_Notify service;
};

class Daemon {
  public:
    // Starts the daemon; clients can connect when the constructor returns. Waits at most the grace period for a
    // configured engine. Throws Start_Failure.
    explicit Daemon(Start start);
    Daemon(const Daemon &) = delete;
    Daemon &operator=(const Daemon &) = delete;
    // Removes all files, segments and semaphores that the daemon created.
    ~Daemon();

    // Serves clients until a stop is requested.
    void run();

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace wispd
