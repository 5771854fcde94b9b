// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/route_writer.h"

#include <cerrno>
#include <cstring>

#include <asio/io_context.hpp>

#include "host/log.h"
#include "host/text.h"

namespace wispd {

Route_Writer::Route_Writer(asio::io_context &context, Shared_Segments &segments, const Routes &routes,
                           const Route_Patience &patience)
    : segments_(segments), routes_(routes), patience_(patience),
      watch_(context, segments, patience.check_period), timer_(context) {}

Route_Writer::~Route_Writer() {
    if (state_ == State::waiting) {
        release_readers();
    }
}

void Route_Writer::publish() {
    // A waiting or pausing writer will write the newest routes anyway.
    if (state_ == State::idle) {
        begin();
    }
}

void Route_Writer::begin() {
    // The usual case needs neither a wait nor a further check.
    if (segments_.semaphores().hold_if_unused()) {
        write();
        segments_.semaphores().release_readers();
        return;
    }
    if (!hold()) {
        wait_in_vain(text("the semaphores cannot be used: ", std::strerror(errno)));
        return;
    }
    state_ = State::waiting;
    since_ = std::chrono::steady_clock::now();
    check_readers();
}

bool Route_Writer::hold() {
    // A value that is too high would prevent this hold, so correct it first.
    watch_.check();
    const bool held = segments_.semaphores().hold_readers();
    watch_.set_holding(held);
    return held;
}

void Route_Writer::release_readers() {
    segments_.semaphores().release_readers();
    watch_.set_holding(false);
    watch_.check();
}

void Route_Writer::check_readers() {
    const int inside = segments_.semaphores().readers_inside();
    if (inside < 0) {
        wait_in_vain(text("the semaphores cannot be read: ", std::strerror(errno)));
    } else if (inside == 0 && watch_.check()) {
        write();
        release_readers();
    } else if (std::chrono::steady_clock::now() - since_ < patience_.wait) {
        after(patience_.look_again, &Route_Writer::check_readers);
    } else {
        // The system records the last process that used the semaphore. That process may not be the one inside,
        // so the message names no process.
        wait_in_vain(inside > 0 ? text(inside, " readers block the update")
                                : std::string("another process keeps altering the semaphores"));
    }
}

void Route_Writer::wait_in_vain(const std::string &why) {
    if (++attempts_in_vain_ < patience_.attempts) {
        if (watch_.is_holding()) {
            release_readers();
        }
        give_up(why);
        return;
    }
    log_warning(text("routes in shared memory updated without waiting for readers: ", why,
                     "; a stopped reader reads again when it continues"));
    segments_.semaphores().reset_readers();
    write();
    release_readers();
}

void Route_Writer::write() {
    // Generation 0 means that no route is valid.
    sequence_ = sequence_ == UINT32_MAX ? 1 : sequence_ + 1;
    segments_.write_routes(sequence_, routes_);
    state_ = State::idle;
    attempts_in_vain_ = 0;
    if (complained_) {
        log_info("routes in shared memory are updated again");
        complained_ = false;
    }
}

void Route_Writer::give_up(const std::string &why) {
    if (!complained_) {
        log_warning(text("routes in shared memory not updated: ", why, "; retrying every ",
                         std::chrono::duration_cast<std::chrono::seconds>(patience_.pause).count(), " s"));
        complained_ = true;
    }
    state_ = State::pausing;
    after(patience_.pause, &Route_Writer::begin);
}

void Route_Writer::after(std::chrono::microseconds time, void (Route_Writer::*next)()) {
    timer_.expires_after(time);
    timer_.async_wait([this, next](const asio::error_code &aborted) {
        if (!aborted) {
            (this->*next)();
        }
    });
}

} // namespace wispd
