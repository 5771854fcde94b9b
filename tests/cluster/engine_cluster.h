// A whole cluster: on every host an engine, a wispd that follows it, a client of that, and an observer of the engine.
#ifndef HB_TEST_CLUSTER_ENGINE_CLUSTER_H
#define HB_TEST_CLUSTER_ENGINE_CLUSTER_H

#include <memory>
#include <string>
#include <vector>

#include "tests/cluster/host_programs.h"
#include "tests/cluster/hosts.h"

namespace hb_test {

class EngineCluster {
  public:
    explicit EngineCluster(int hosts, int links = 2, const EnginePatience &patience = {},
                           const EngineSettings &settings = {});

    // Everything runs and every client has everybody up; false when it does not come to that.
    bool start(const Deadline &deadline = Deadline());

    Hosts &hosts() { return hosts_; }
    const Hosts &hosts() const { return hosts_; }
    WispdOnHost &wispd(int host) { return *wispds_.at(static_cast<std::size_t>(host) - 1); }
    ClientOnHost &client(int host) { return *clients_.at(static_cast<std::size_t>(host) - 1); }
    ObserverOnHost &observer(int host) { return *observers_.at(static_cast<std::size_t>(host) - 1); }
    int clients() const { return static_cast<int>(clients_.size()); } // 0 until it is started
    const EnginePatience &patience() const { return patience_; }

    // Takes in what clients and observers wrote down; whether there was anything.
    bool collect();
    // Until every client whose engine runs has exactly those up that its engine has.
    bool wait_agreement(const Deadline &deadline = Deadline());
    // Until every client that runs has all nodes and adapters up.
    bool wait_all_up(const Deadline &deadline = Deadline());
    // Whether the client of that host has them, by the observer of the same host.
    bool agrees(int host);

    // All that clients were told without a reason, or were not told, or should never be told.
    std::vector<std::string> complaints(const Patience &patience);
    Patience model_patience() const;
    // What everybody sees, for messages.
    std::string account();

  private:
    Hosts hosts_;
    EnginePatience patience_;
    std::vector<std::unique_ptr<WispdOnHost>> wispds_;
    std::vector<std::unique_ptr<ObserverOnHost>> observers_;
    std::vector<std::unique_ptr<ClientOnHost>> clients_;
};

} // namespace hb_test

#endif
