// SPDX-License-Identifier: Apache-2.0
// hb/event_source.hpp - hb::event_source: receives the events of a session
#ifndef HB_EVENT_SOURCE_HPP
#define HB_EVENT_SOURCE_HPP

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <poll.h>
#include <utility>

#include "hb/event.hpp"
#include "hb/result.hpp"
#include "hb/session.hpp"
#include "hb/time.hpp"

namespace hb {

// Receives the events that a session has subscribed to, in daemon mode and in cluster-event mode. It owns the record of
// the last event (384 KiB) and the list of descriptors. It allocates when it opens and in refresh(), and nothing for an
// event. It starts no thread.
//
//     while (hb::result<hb::event> event = source.wait()) {
//         if (const auto *death = std::get_if<hb::events::node_death>(&*event)) {
//             for (hb::node_number node : death->nodes()) {
//                 ...
//
// It can be moved, but not copied. A source that was moved from has no descriptors and fails with HB_ERROR_NOT_OPEN.
// The session must stay open meanwhile. After session::reopen() and session::commit_migration() call refresh().
//
// A control request of the same session can swallow an event: hb/requests.hpp says when. An hb::watcher has no such gap,
// and connects again by itself.
class event_source {
  public:
    // Opens a source for the session. Errors: those of hb_get_file_descriptor_array, 17 no memory, 22 the session is
    // closed.
    static result<event_source> open(const session &owner) {
        if (!owner.is_open()) {
            return error(HB_ERROR_NOT_OPEN);
        }
        event_source source;
        source.record_.reset(new (std::nothrow) detail::event_record());
        if (!source.record_) {
            return error(HB_ERROR_NO_MEMORY);
        }
        if (const result<void> refreshed = source.refresh(); !refreshed) {
            return refreshed.error();
        }
        return source;
    }

    event_source(event_source &&other) noexcept { *this = std::move(other); }
    event_source &operator=(event_source &&other) noexcept {
        record_ = std::move(other.record_);
        descriptors_ = std::move(other.descriptors_);
        polled_ = std::move(other.polled_);
        ready_ = std::move(other.ready_);
        count_ = std::exchange(other.count_, 0);
        return *this;
    }
    event_source(const event_source &) = delete;
    event_source &operator=(const event_source &) = delete;
    ~event_source() = default;

    // The descriptors to wait on for reading: one with a daemon, nine with a cluster service. The library owns them: do
    // not close, read or write them.
    class descriptor_list {
      public:
        descriptor_list(const int *first, const int *last) noexcept : first_(first), last_(last) {}
        const int *begin() const noexcept { return first_; }
        const int *end() const noexcept { return last_; }
        std::size_t size() const noexcept { return static_cast<std::size_t>(last_ - first_); }
        int operator[](std::size_t i) const noexcept { return first_[i]; }

      private:
        const int *first_;
        const int *last_;
    };

    // Returns the descriptors, for poll, epoll or an event library. The list is valid until refresh().
    descriptor_list descriptors() const noexcept { return {descriptors_.get(), descriptors_.get() + count_}; }

    // Asks for the descriptors again. Errors: those of hb_get_file_descriptor_array, 17 no memory. After a failure the
    // source has no descriptors, and its waits fail with HB_ERROR_NOT_OPEN.
    result<void> refresh() {
        if (!record_) {
            return error(HB_ERROR_NOT_OPEN);
        }
        count_ = 0;
        descriptors_.reset();
        int *found = nullptr;
        int count = 0;
        if (hb_get_file_descriptor_array(&found, &count) != Hb_Success) {
            return error::last();
        }
        descriptors_.reset(found);
        const auto size = static_cast<std::size_t>(std::max(count, 0));
        polled_.reset(new (std::nothrow) pollfd[size + 1]);
        ready_.reset(new (std::nothrow) int[size + 1]);
        if (!polled_ || !ready_) {
            return error(HB_ERROR_NO_MEMORY);
        }
        count_ = size;
        return {};
    }

    // Returns the next event, or nothing if none has arrived. Call it when a descriptor is readable. An event that has
    // begun to arrive is read to its end.
    // Errors: those of hb_get_event_message. After 12 and 16 the connection is lost: call session::reopen(), subscribe
    // again, and refresh().
    result<std::optional<event>> next() { return wait_milliseconds(0); }

    // Waits for the next event, at most this long; a negative time is 0. Returns nothing when the time is over.
    // Errors: as next(), and EINTR when a signal handler ran (error::is_interruption): wait again.
    template <class Rep, class Period>
    result<std::optional<event>> wait(std::chrono::duration<Rep, Period> time) {
        return wait_milliseconds(detail::milliseconds_of(time));
    }

    // Waits for the next event without limit. Errors: as wait() with a time.
    result<event> wait() {
        return wait_milliseconds(-1).transform([](const std::optional<event> &found) { return *found; });
    }

  private:
    struct descriptor_release {
        void operator()(int *descriptors) const noexcept { hb_free_file_descriptor_array(descriptors); }
    };

    event_source() = default;

    result<std::optional<event>> wait_milliseconds(int time) {
        if (!record_ || count_ == 0) {
            return error(HB_ERROR_NOT_OPEN);
        }
        std::transform(descriptors_.get(), descriptors_.get() + count_, polled_.get(), [](int descriptor) {
            return pollfd{descriptor, POLLIN, 0};
        });
        const int ready = poll(polled_.get(), count_, time);
        if (ready < 0) {
            return errno == EINTR ? error::of_system(EINTR) : error(HB_ERROR_RECEIVE_FAILED);
        }
        if (ready == 0) {
            return std::optional<event>();
        }
        return read().transform([](const event &found) { return std::optional<event>(found); });
    }

    // In cluster-event mode the C interface expects the ready descriptors only.
    result<event> read() {
        int *last = ready_.get();
        for (std::size_t i = 0; i < count_; ++i) {
            if (polled_[i].revents != 0) {
                *last++ = polled_[i].fd;
            }
        }
        *last = -1;
        // A cluster service does not write this field, so that of an earlier event would stay.
        std::memset(record_->group.Hb_ffdc_id, 0, sizeof record_->group.Hb_ffdc_id);
        int kind = HB_EVENT_NONE;
        if (hb_get_event_message(ready_.get(), nullptr, &kind, record_->name, &record_->group,
                                 &record_->sequence) != Hb_Success) {
            return error::last();
        }
        return detail::event_of(kind, *record_);
    }

    std::unique_ptr<detail::event_record> record_;
    std::unique_ptr<int, descriptor_release> descriptors_;
    std::unique_ptr<pollfd[]> polled_;
    std::unique_ptr<int[]> ready_;
    std::size_t count_ = 0; // descriptors
};

} // namespace hb

#endif
