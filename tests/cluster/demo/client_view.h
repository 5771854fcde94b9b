// SPDX-License-Identifier: Apache-2.0
// The cluster as one client knows it from its events.
#pragma once

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

class Client_View {
  public:
    void take(const Client_Event &event);

    // The members that the client considers up.
    const Members &up() const { return up_; }
    // For each of these members: when the client first received its death, or its join, at that time or later.
    // Returns the last of these times. Returns nothing if one is missing or there are no members.
    std::optional<Time> told_nodes(const std::set<int> &nodes, Told what, Time since) const;
    std::optional<Time> told_adapters(const std::set<int> &adapters, Told what, Time since) const;

  private:
    Members up_;
    std::vector<Client_Event> events_;
};

} // namespace hb_demo
