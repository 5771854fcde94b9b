// SPDX-License-Identifier: Apache-2.0
#include "exporter/event_stream.h"

#include <chrono>
#include <thread>
#include <utility>

namespace exporter {
namespace {

// A storm of changes becomes at most this many frames a second. The first change after a calm is sent at once.
constexpr std::chrono::milliseconds SHORTEST_GAP{50};
// The page reports a lost link when three beats are missing.
constexpr std::chrono::milliseconds BEAT_PERIOD{700};

std::string message(const char *event, const std::string &data) {
    return std::string("event: ") + event + "\ndata: " + data + "\n\n";
}

} // namespace

std::shared_ptr<void> Viewer_Limit::enter() {
    if (--free_ < 0) {
        ++free_;
        return nullptr;
    }
    return {this, [limit = shared_from_this()](void *) { ++limit->free_; }};
}

Event_Stream::Event_Stream(std::shared_ptr<Page_Feed> feed, std::shared_ptr<void> place)
    : feed_(std::move(feed)), place_(std::move(place)) {}

bool Event_Stream::proceed(const Write &write) {
    const std::string text = next_text();
    return text.empty() || write(text);
}

std::string Event_Stream::next_text() {
    const auto now = std::chrono::steady_clock::now;
    if (!sent_) {
        sent_ = feed_->latest();
        sent_time_ = now();
        next_beat_ = sent_time_ + BEAT_PERIOD;
        return "retry: 1000\n\n" + message("cluster", *sent_->cluster) + message("state", *sent_->state);
    }
    std::shared_ptr<const Page_Frame> frame = feed_->wait_for_another(*sent_, next_beat_);
    if (frame != sent_) {
        std::this_thread::sleep_until(sent_time_ + SHORTEST_GAP);
        frame = feed_->latest();
        const std::string text = text_of(*frame);
        sent_ = frame;
        sent_time_ = now();
        return text;
    }
    if (now() >= next_beat_) {
        next_beat_ = now() + BEAT_PERIOD;
        return message("beat", feed_->beat());
    }
    return "";
}

std::string Event_Stream::text_of(const Page_Frame &frame) const {
    const std::string state = message("state", *frame.state);
    return frame.cluster == sent_->cluster ? state : message("cluster", *frame.cluster) + state;
}

} // namespace exporter
