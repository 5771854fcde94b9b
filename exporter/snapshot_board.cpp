// SPDX-License-Identifier: Apache-2.0
#include "exporter/snapshot_board.h"

#include <utility>

namespace exporter {

void Snapshot_Board::publish(const Snapshot &snapshot) {
    auto copy =
        std::make_shared<const Snapshot>(snapshot); // not under the lock: a large cluster has many states
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        latest_.swap(copy);
    }
    changed_.notify_all();
}

std::shared_ptr<const Snapshot> Snapshot_Board::latest() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return latest_;
}

std::shared_ptr<const Snapshot> Snapshot_Board::wait_for(const std::function<bool(const Snapshot &)> &condition,
                                                         Steady_Time until) const {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_until(lock, until, [&] { return condition(*latest_); });
    return latest_;
}

} // namespace exporter
