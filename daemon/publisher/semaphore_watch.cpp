// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/semaphore_watch.h"

#include <asio/io_context.hpp>

#include "host/log.h"
#include "host/text.h"

namespace wispd {

Semaphore_Watch::Semaphore_Watch(asio::io_context &context, Shared_Segments &segments,
                                 std::chrono::milliseconds period)
    : segments_(segments), period_(period), timer_(context) {
    await();
}

bool Semaphore_Watch::check() {
    const Semaphore_Values values = segments_.semaphores().values();
    if (values.readers < 0) {
        return false;
    }
    const bool writer_altered = values.writer != (holding_ ? 1 : 0);
    if (writer_altered) {
        warn(text("semaphore 1 (blocks readers) was ", values.writer));
        segments_.semaphores().reset_writer();
        if (holding_) {
            segments_.semaphores().hold_readers();
        }
    }
    // Working readers never set a value, and they are attached to the segment that they read.
    const bool readers_altered = values.readers > 0 && (values.set_by_others || !segments_.others_attached());
    if (readers_altered) {
        warn(text("semaphore 0 (number of readers) was ", values.readers));
    }
    if (readers_altered || values.set_by_others) {
        segments_.semaphores().reset_readers();
    }
    return !writer_altered && !readers_altered;
}

// The warning names no process. The system only records the last process that used a semaphore, which may be
// innocent.
void Semaphore_Watch::warn(const std::string &what) {
    const Time now = std::chrono::steady_clock::now();
    if (now < quiet_until_) {
        ++left_out_;
        return;
    }
    log_warning(text("route semaphores were altered and have been reset: ", what,
                     "; any process with access to routes can do that", left_out_ > 0 ? " (" : "",
                     left_out_ > 0 ? text(left_out_, " more times since the last warning)") : ""));
    left_out_ = 0;
    quiet_until_ = now + QUIET;
}

void Semaphore_Watch::await() {
    timer_.expires_after(period_);
    timer_.async_wait([this](const asio::error_code &aborted) {
        if (!aborted) {
            check();
            await();
        }
    });
}

} // namespace wispd
