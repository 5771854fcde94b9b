// SPDX-License-Identifier: Apache-2.0
// The texts for the live page. Each change is rendered once, however many viewers there are.
#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "exporter/snapshot_board.h"

namespace exporter {

// What a viewer sees of one snapshot.
struct Page_Frame {
    std::uint64_t changes = 0; // the snapshot's
    bool up = false;
    std::shared_ptr<const std::string> cluster; // another object only if the text differs
    std::shared_ptr<const std::string> state;
};

class Page_Feed {
  public:
    Page_Feed(std::shared_ptr<const Snapshot_Board> board, std::chrono::milliseconds stale);

    std::shared_ptr<const Page_Frame> latest();
    // Waits until another frame than this one is due, or until the time is over. Returns the latest one.
    std::shared_ptr<const Page_Frame> wait_for_another(const Page_Frame &seen, Steady_Time until);
    std::string beat() const;

  private:
    bool is_another(const Page_Frame &seen, const Snapshot &snapshot) const;
    std::shared_ptr<const std::string> cluster_text(const Snapshot &snapshot);

    const std::shared_ptr<const Snapshot_Board> board_;
    const std::chrono::milliseconds stale_;
    std::mutex mutex_; // of what follows
    std::shared_ptr<const Page_Frame> frame_;
    std::shared_ptr<const Cluster> rendered_cluster_;
    std::shared_ptr<const common::Cluster_File> rendered_about_;
    std::shared_ptr<const std::string> cluster_text_;
};

} // namespace exporter
