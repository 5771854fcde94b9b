#include "daemon/publisher/route_writer.h"

#include <cerrno>
#include <cstring>

#include <asio/io_context.hpp>

#include "daemon/log.h"
#include "daemon/text.h"

namespace wispd {

Route_Writer::Route_Writer(asio::io_context &context, Shared_Segments &segments, const Routes &routes,
                           const Route_Patience &patience)
    : segments_(segments), routes_(routes), patience_(patience), timer_(context) {}

Route_Writer::~Route_Writer() {
    if (state_ == State::waiting) {
        segments_.let_readers_in();
    }
}

void Route_Writer::publish() {
    // Waiting or pausing, it writes what is newest then.
    if (state_ == State::idle) {
        begin();
    }
}

void Route_Writer::begin() {
    if (!segments_.hold_readers()) {
        give_up(text("the semaphores cannot be used: ", std::strerror(errno)));
        return;
    }
    state_ = State::waiting;
    since_ = std::chrono::steady_clock::now();
    look();
}

void Route_Writer::look() {
    const Readers inside = segments_.readers_inside();
    if (inside.count == 0) {
        write();
        return;
    }
    if (inside.count > 0 && std::chrono::steady_clock::now() - since_ < patience_.wait) {
        after(patience_.look_again, &Route_Writer::look);
        return;
    }
    const std::string why = inside.count < 0 ? text("the semaphores cannot be read: ", std::strerror(errno))
                                             : text(inside.count,
                                                    " readers stay inside, the last one to enter or leave was "
                                                    "process id ",
                                                    inside.last_pid);
    segments_.let_readers_in();
    give_up(why);
}

void Route_Writer::write() {
    // 0 means that there is nothing valid.
    sequence_ = sequence_ == UINT32_MAX ? 1 : sequence_ + 1;
    segments_.write_routes(sequence_, routes_);
    segments_.let_readers_in();
    state_ = State::idle;
    if (complained_) {
        log_info("the routes are published again");
        complained_ = false;
    }
}

void Route_Writer::give_up(const std::string &why) {
    if (!complained_) {
        log_warning(text("the routes in shared memory stay as they were: ", why, "; trying again every ",
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
