// SPDX-License-Identifier: Apache-2.0
#include "cluster/description/suspicion_timer.h"

#include <optional>
#include <utility>

#include <asio/io_context.hpp>

namespace wispd {

Suspicion_Timer::Suspicion_Timer(asio::io_context &context, const Node_Control &control,
                                 std::function<void()> on_due)
    : control_(control), on_due_(std::move(on_due)), timer_(context) {}

void Suspicion_Timer::set() {
    timer_.cancel();
    if (const std::optional<Time> due = control_.next_due()) {
        timer_.expires_at(*due);
        timer_.async_wait([this](const asio::error_code &aborted) {
            if (!aborted) {
                on_due_();
            }
        });
    }
}

} // namespace wispd
