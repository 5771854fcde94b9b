// SPDX-License-Identifier: Apache-2.0
// Runs a program's timelines: plays one at a time, and executes its events in order.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cluster/description/command_result.h"
#include "cluster/description/timeline.h"
#include "cluster/description/timeline_player.h"

namespace asio {
class io_context;
}

namespace wispd {

class Timeline_Run {
  public:
    using Use = std::function<void(std::vector<Timeline_Event> &&)>;

    // A handler with the argument `finished` calls it, now or later, or throws std::runtime_error.
    struct Handlers {
        // Reads a file that a request names, and passes its events to `use`.
        std::function<void(const std::string &path, const Use &use, const Finished &finished)> read;
        std::function<void(const Command &command, const Finished &finished)> execute;
        std::function<void()> begun; // called when a timeline begins
        // The returned object lives while an event is executed.
        std::function<std::shared_ptr<void>()> charge;
    };

    // `configured` is played when a request names no file.
    Timeline_Run(asio::io_context &context, std::vector<Timeline_Event> configured, Handlers handlers);
    Timeline_Run(const Timeline_Run &) = delete;
    Timeline_Run &operator=(const Timeline_Run &) = delete;

    bool has_configured() const { return !configured_.empty(); }
    // Plays a file; empty: the configured timeline. Throws Refused while one plays, or if it has no events.
    void play(const std::string &path, const Finished &finished);

    // Returns the number of events of the latest timeline: all of them, and those already played.
    std::size_t size() const { return player_ ? player_->size() : 0; }
    std::size_t played() const { return player_ ? player_->played() : 0; }

  private:
    void check_none_is_played() const;
    void begin(std::vector<Timeline_Event> events);
    void go_on();
    void perform(const Timeline_Event &event);

    asio::io_context &context_;
    std::vector<Timeline_Event> configured_;
    Handlers handlers_;
    bool waits_ = false; // true until the file that an event named is loaded
    std::deque<Timeline_Event> due_;
    std::optional<Timeline_Player> player_;
};

} // namespace wispd
