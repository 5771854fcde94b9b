// SPDX-License-Identifier: Apache-2.0
#include "cluster/description/timeline_player.h"

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>

#include "host/log.h"

namespace wispd {

class Timeline_Player::Impl {
  public:
    Impl(asio::io_context &context, std::vector<Timeline_Event> events,
         std::function<void(const Timeline_Event &)> on_event)
        : timer_(context, std::chrono::steady_clock::now()), events_(std::move(events)),
          on_event_(std::move(on_event)) {
        wait_for_next();
    }

    std::size_t size() const { return events_.size(); }
    std::size_t played() const { return played_; }

  private:
    void wait_for_next() {
        if (played_ == events_.size()) {
            log_info("the timeline has ended");
            return;
        }
        // Counted from when the previous event was due, so that delays do not add up.
        timer_.expires_at(timer_.expiry() + events_[played_].after);
        timer_.async_wait([this](const asio::error_code &aborted) {
            if (!aborted) {
                on_event_(events_[played_++]);
                wait_for_next();
            }
        });
    }

    asio::steady_timer timer_;
    std::vector<Timeline_Event> events_;
    std::function<void(const Timeline_Event &)> on_event_;
    std::size_t played_ = 0;
};

Timeline_Player::Timeline_Player(asio::io_context &context, std::vector<Timeline_Event> events,
                                 std::function<void(const Timeline_Event &)> on_event)
    : impl_(std::make_unique<Impl>(context, std::move(events), std::move(on_event))) {}

Timeline_Player::~Timeline_Player() = default;

std::size_t Timeline_Player::size() const {
    return impl_->size();
}
std::size_t Timeline_Player::played() const {
    return impl_->played();
}

} // namespace wispd
