// What one client knows by what it was told.
#ifndef HB_TEST_CLUSTER_DEMO_CLIENT_VIEW_H
#define HB_TEST_CLUSTER_DEMO_CLIENT_VIEW_H

#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "tests/cluster/demo/client_event.h"

namespace hb_demo {

struct Members {
    std::set<int> nodes;
    std::set<int> adapters;

    bool operator==(const Members &) const = default;
};

class ClientView {
  public:
    void take(const ClientEvent &event);

    // Whom it takes to be up.
    const Members &up() const { return up_; }
    // When it was first told of each of these, at that time or later, that it died or joined, as asked; the last
    // of these times, and nothing while one is lacking or when there are none.
    std::optional<Time> told_nodes(const std::set<int> &nodes, Told what, Time since) const;
    std::optional<Time> told_adapters(const std::set<int> &adapters, Told what, Time since) const;

  private:
    Members up_;
    std::vector<ClientEvent> events_;
};

} // namespace hb_demo

#endif
