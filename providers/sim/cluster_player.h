// SPDX-License-Identifier: Apache-2.0
// Plays a cluster file: the simulated service shows its cluster; a timeline and a control socket change it.
#pragma once

#include <memory>
#include <string>

namespace mox_sim {

struct Play {
    std::string config;  // the same format as wispd's file
    std::string control; // path of the control socket; empty: no control socket
};

// The service is installed during the lifetime of the object. Changes come from a separate thread with all
// signals blocked. The configured timeline begins when the first monitor is opened.
class Cluster_Player {
  public:
    // Starts the service. Throws std::runtime_error if the file or its timeline is invalid, or if the socket
    // cannot be created.
    explicit Cluster_Player(const Play &play);
    Cluster_Player(const Cluster_Player &) = delete;
    Cluster_Player &operator=(const Cluster_Player &) = delete;
    ~Cluster_Player();

    // Stops the timeline and removes the control socket. The service stays installed and answers queries as
    // before.
    void leave();

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace mox_sim
