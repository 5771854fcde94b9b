// SPDX-License-Identifier: Apache-2.0
// The cluster that the engine reports, and the events of a cluster service for each step.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cluster/cluster.h"
#include "engine/engine.h"
#include "providers/service/picture.h"
#include "providers/service/picture_events.h"

namespace mox_followed {

mox_service::Monitor_Event about_node(uint32_t node, qz_orb_event_type_t type);

class Followed_Cluster {
  public:
    // Applies a step and returns its events in order. The first step and a new configuration are one event
    // each. In other steps each change of liveness is an event, including a death and join within one step. A
    // node's event also covers its adapters, which have no events of their own then.
    std::vector<mox_service::Monitor_Event> apply(const wispd::Engine_Step &step);

    bool is_known() const { return cluster_.has_value(); }
    const std::string &name() const { return cluster_->name(); }
    int local_node() const { return cluster_->local_node(); }
    const mox_service::Picture &picture() const { return picture_; }

  private:
    std::optional<wispd::Cluster> cluster_;
    mox_service::Picture picture_;
};

} // namespace mox_followed
