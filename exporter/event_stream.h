// SPDX-License-Identifier: Apache-2.0
// The server-sent events for one viewer of the live page.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "exporter/page_feed.h"

namespace exporter {

// How many viewers may be connected at once. Each one occupies a thread of the HTTP service.
class Viewer_Limit : public std::enable_shared_from_this<Viewer_Limit> {
  public:
    explicit Viewer_Limit(int most) : free_(most) {}

    // Returns the viewer's place, which is free again when the last copy is destroyed; null if every place is occupied.
    std::shared_ptr<void> enter();

  private:
    std::atomic<int> free_;
};

class Event_Stream {
  public:
    // Returns false if the viewer disconnected.
    using Write = std::function<bool(const std::string &)>;

    Event_Stream(std::shared_ptr<Page_Feed> feed, std::shared_ptr<void> place);

    // Waits for the next change or the next beat, and writes it. Returns what `write` returned.
    bool proceed(const Write &write);

  private:
    std::string next_text();
    std::string text_of(const Page_Frame &frame) const;

    const std::shared_ptr<Page_Feed> feed_;
    const std::shared_ptr<void> place_;
    std::shared_ptr<const Page_Frame> sent_; // null: nothing so far
    Steady_Time sent_time_;
    Steady_Time next_beat_;
};

} // namespace exporter
