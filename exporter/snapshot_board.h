// SPDX-License-Identifier: Apache-2.0
// Where one thread publishes snapshots, and others read the latest one without waiting for it.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

#include "exporter/snapshot.h"

namespace exporter {

class Snapshot_Board {
  public:
    void publish(const Snapshot &snapshot);
    std::shared_ptr<const Snapshot> latest() const;

    // Waits for a snapshot that satisfies the condition, or until the time is over. Returns the latest one.
    std::shared_ptr<const Snapshot> wait_for(const std::function<bool(const Snapshot &)> &condition,
                                             Steady_Time until) const;

  private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::shared_ptr<const Snapshot> latest_ = std::make_shared<const Snapshot>();
};

} // namespace exporter
