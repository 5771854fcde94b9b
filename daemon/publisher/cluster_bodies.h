// SPDX-License-Identifier: Apache-2.0
// The packet bodies that describe the cluster. Each is built at its first use and kept until the next change.
#pragma once

#include <optional>
#include <vector>

#include "cluster/cluster.h"
#include "daemon/publisher/packets.h"

namespace wispd {

class Cluster_Bodies {
  public:
    // `cluster` must outlive this object.
    explicit Cluster_Bodies(const Cluster &cluster) : cluster_(cluster) {}

    const Body &snapshot();
    const std::vector<Adapter_Member> &adapters_up();
    const Body &all_adapters_up();
    // Discards all bodies. Must be called after each change of the cluster.
    void forget();

  private:
    const Cluster &cluster_;
    Body snapshot_;
    std::optional<std::vector<Adapter_Member>> adapters_up_;
    Body all_adapters_up_;
};

} // namespace wispd
