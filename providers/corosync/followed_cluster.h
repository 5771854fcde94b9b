// The cluster that the engine tells, and what a cluster service tells of each of its steps.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cluster/cluster.h"
#include "engine/engine_follower.h"
#include "providers/service/picture.h"
#include "providers/service/picture_events.h"

namespace mox_corosync {

mox_service::Told about_node(uint32_t node, qz_orb_event_type_t type);

class Followed_Cluster {
  public:
    // What tells of the step, in order. A configuration is told as one, and so is the first step; who is alive in a
    // step without one is told by itself, also who went and came back within it. Adapters of a node that is told are
    // not told: its event stands for them.
    std::vector<mox_service::Told> take(const wispd::Engine_Step &step);

    bool is_known() const { return cluster_.has_value(); }
    const std::string &name() const { return cluster_->name(); }
    int local_node() const { return cluster_->local_node(); }
    const mox_service::Picture &picture() const { return picture_; }

  private:
    std::optional<wispd::Cluster> cluster_;
    mox_service::Picture picture_;
};

} // namespace mox_corosync
