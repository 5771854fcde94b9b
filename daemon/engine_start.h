// SPDX-License-Identifier: Apache-2.0
// Starts a daemon that reads its cluster from an engine.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "cluster/cluster.h"
#include "engine/engine.h"

namespace wispd {

using Follow_Engine = std::function<std::unique_ptr<Engine>(const Engine_Settings &)>;

// The engine and its first report. Both are empty if the configuration file describes the cluster itself.
struct Followed {
    std::unique_ptr<Engine> engine;
    std::optional<Engine_Step> first;
};

// Connects to the engine and waits at most the grace period for its first report. Throws Start_Failure.
Followed begin_to_follow(const std::optional<Engine_Settings> &settings, const Follow_Engine &follow_engine);

// Returns the cluster that the engine reports, or else the configured cluster.
Cluster cluster_at_start(const Configuration &configured, const Followed &followed);

} // namespace wispd
