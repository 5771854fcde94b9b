// SPDX-License-Identifier: Apache-2.0
// A small cluster in the simulated service, and the library in cluster-event mode over it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "hb_client.h"
#include "providers/sim/simulated_service.h"

namespace hb_test {

// Nodes 1, 2 and 3, all up. Each has eth0 with 10.1.0.N and eth1 with 10.2.0.N. The local node is 1.
void fill_small_cluster(mox_sim::Simulated_Service &service);

// The adapter's number in a table built from the service.
constexpr unsigned adapter_number(unsigned node, unsigned position) {
    return node * 48 + position;
}

// The results of one call of hb_get_event_message.
struct Taken {
    Hb_Rc result = 0;
    int error = 0;
    int events = -1;
    std::string name;
    std::vector<int> nodes;         // of a node group
    std::vector<unsigned> adapters; // of an adapter group
    unsigned long sequence = 0;

    bool operator==(const Taken &) const = default;
};
void PrintTo(const Taken &taken, std::ostream *out);

// Expected node or adapter events: successful, with sequence number 0.
Taken of_nodes(int events, const std::string &name, const std::vector<int> &nodes);
Taken of_adapters(int events, const std::string &name, const std::vector<unsigned> &adapters);
Taken of_configuration();

class Cluster_Client {
  public:
    Cluster_Client();
    ~Cluster_Client();
    Cluster_Client(const Cluster_Client &) = delete;
    Cluster_Client &operator=(const Cluster_Client &) = delete;

    // Opens in cluster-event mode, creates the handlers, and gives both subscriptions a name.
    void open();
    // Waits until a descriptor is readable, and reads its event.
    Taken take();
    // The same without waiting, until no descriptor is readable.
    std::vector<Taken> take_all();
    bool is_readable() const;

    mox_sim::Simulated_Service service;
    std::unique_ptr<Hb_Group> group = std::make_unique<Hb_Group>();

  private:
    Taken take_ready(std::vector<int> ready);
    std::vector<int> ready_descriptors(int milliseconds) const;
};

} // namespace hb_test
