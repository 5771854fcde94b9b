// The start of a daemon whose cluster comes from an engine.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "cluster/cluster.h"
#include "engine/engine_follower.h"

namespace wispd {

using Follow_Engine = std::function<std::unique_ptr<Engine_Follower>(const Engine_Settings &)>;

// The engine and its first report; neither where the file has the cluster itself.
struct Followed {
    std::unique_ptr<Engine_Follower> follower;
    std::optional<Engine_Step> first;
};

// Waits for the engine, as long as its grace. Throws Start_Failure.
Followed begin_to_follow(const std::optional<Engine_Settings> &settings, const Follow_Engine &follow_engine);

// As the engine reports it, or as it is configured.
Cluster cluster_at_start(const Configuration &configured, const Followed &followed);

} // namespace wispd
