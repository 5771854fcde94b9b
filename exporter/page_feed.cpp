// SPDX-License-Identifier: Apache-2.0
#include "exporter/page_feed.h"

#include <algorithm>
#include <utility>

#include "exporter/page_json.h"

namespace exporter {

Page_Feed::Page_Feed(std::shared_ptr<const Snapshot_Board> board, std::chrono::milliseconds stale)
    : board_(std::move(board)), stale_(stale) {}

std::shared_ptr<const Page_Frame> Page_Feed::latest() {
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::shared_ptr<const Snapshot> snapshot = board_->latest();
    if (frame_ && !is_another(*frame_, *snapshot)) {
        return frame_;
    }
    const Moment now = present_moment();
    Page_Frame frame;
    frame.changes = snapshot->changes;
    frame.up = is_up(*snapshot, now.steady, stale_);
    frame.cluster = cluster_text(*snapshot);
    frame.state = std::make_shared<const std::string>(render_page_state(*snapshot, now, stale_));
    frame_ = std::make_shared<const Page_Frame>(std::move(frame));
    return frame_;
}

std::shared_ptr<const Page_Frame> Page_Feed::wait_for_another(const Page_Frame &seen, Steady_Time until) {
    const std::shared_ptr<const Snapshot> known = board_->latest();
    // The moment when the latest contact becomes too old: nothing is published then.
    const Steady_Time moment_of_loss =
        known->last_contact ? *known->last_contact + stale_ + std::chrono::milliseconds(1) : Steady_Time::max();
    board_->wait_for([this, &seen](const Snapshot &snapshot) { return is_another(seen, snapshot); },
                     seen.up ? std::min(until, moment_of_loss) : until);
    return latest();
}

std::string Page_Feed::beat() const {
    return render_page_beat(*board_->latest(), present_moment());
}

bool Page_Feed::is_another(const Page_Frame &seen, const Snapshot &snapshot) const {
    return snapshot.changes != seen.changes ||
           is_up(snapshot, std::chrono::steady_clock::now(), stale_) != seen.up;
}

std::shared_ptr<const std::string> Page_Feed::cluster_text(const Snapshot &snapshot) {
    if (!cluster_text_ || snapshot.cluster != rendered_cluster_ || snapshot.about != rendered_about_) {
        std::string text = render_page_cluster(snapshot);
        if (!cluster_text_ || *cluster_text_ != text) {
            cluster_text_ = std::make_shared<const std::string>(std::move(text));
        }
        rendered_cluster_ = snapshot.cluster;
        rendered_about_ = snapshot.about;
    }
    return cluster_text_;
}

} // namespace exporter
