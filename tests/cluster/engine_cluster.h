// SPDX-License-Identifier: Apache-2.0
// A whole cluster: every host has an engine, a wispd that follows it, a client of that wispd, and an observer
// of the engine.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/cluster/host_programs.h"
#include "tests/cluster/hosts.h"

namespace hb_test {

class Engine_Cluster {
  public:
    explicit Engine_Cluster(int hosts, int links = 2, const Engine_Patience &patience = {},
                            const Engine_Settings &settings = {});

    // Starts everything and waits until every client has all members up. Returns false if that does not happen.
    bool start(const Deadline &deadline = Deadline());

    Hosts &hosts() { return hosts_; }
    const Hosts &hosts() const { return hosts_; }
    Wispd_On_Host &wispd(int host) { return *wispds_.at(static_cast<std::size_t>(host) - 1); }
    Client_On_Host &client(int host) { return *clients_.at(static_cast<std::size_t>(host) - 1); }
    Observer_On_Host &observer(int host) { return *observers_.at(static_cast<std::size_t>(host) - 1); }
    int clients() const { return static_cast<int>(clients_.size()); } // 0 until it is started
    const Engine_Patience &patience() const { return patience_; }

    // Reads the new lines of clients and observers. Returns whether there were any.
    bool collect();
    // Waits until every client whose engine runs has exactly the same members up as its engine.
    bool wait_agreement(const Deadline &deadline = Deadline());
    // Waits until every running client has all nodes and adapters up.
    bool wait_all_up(const Deadline &deadline = Deadline());
    // Returns whether the client of that host agrees with the observer of the same host.
    bool agrees(int host);

    // All events that clients received without a reason, did not receive, or must never receive.
    std::vector<std::string> complaints(const Patience &patience);
    Patience model_patience() const;
    // The view of every client and engine, for messages.
    std::string account();

  private:
    Hosts hosts_;
    Engine_Patience patience_;
    std::vector<std::unique_ptr<Wispd_On_Host>> wispds_;
    std::vector<std::unique_ptr<Observer_On_Host>> observers_;
    std::vector<std::unique_ptr<Client_On_Host>> clients_;
};

} // namespace hb_test
