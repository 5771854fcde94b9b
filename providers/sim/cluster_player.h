// Plays a cluster file: the simulated service shows its cluster, a timeline and a control socket change it.
#pragma once

#include <memory>
#include <string>

namespace mox_sim {

struct Play {
    std::string config;  // the same file as wispd's
    std::string control; // path of the control socket; empty: none
};

// The service is installed as long as the object lives. What happens comes from a thread of its own, in which all
// signals are blocked. The configured timeline begins when the first monitor is opened.
class Cluster_Player {
  public:
    // Throws std::runtime_error: the file or its timeline cannot be taken, or the socket cannot be made.
    explicit Cluster_Player(const Play &play);
    Cluster_Player(const Cluster_Player &) = delete;
    Cluster_Player &operator=(const Cluster_Player &) = delete;
    ~Cluster_Player();

    // Ends what happens by itself and removes the control socket. The service stays installed and answers as before.
    void leave();

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace mox_sim
