// The cluster as one client knows it from its events.
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

    // The members that the client considers up.
    const Members &up() const { return up_; }
    // For each of these members: when the client first received its death, or its join, at that time or later.
    // Returns the last of these times. Returns nothing if one is missing or there are no members.
    std::optional<Time> told_nodes(const std::set<int> &nodes, Told what, Time since) const;
    std::optional<Time> told_adapters(const std::set<int> &adapters, Told what, Time since) const;

  private:
    Members up_;
    std::vector<ClientEvent> events_;
};

} // namespace hb_demo

#endif
