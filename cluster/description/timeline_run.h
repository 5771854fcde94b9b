// The timeline of a program: plays one at a time, and executes its events in their order.
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

    // Those that return nothing and have `finished` call it, now or later, or throw std::runtime_error.
    struct Handlers {
        // Reads a file that a request names, and uses its events.
        std::function<void(const std::string &path, const Use &use, const Finished &finished)> read;
        std::function<void(const Command &command, const Finished &finished)> execute;
        std::function<void()> begun; // a timeline has begun
        // What is returned lives while an event is executed.
        std::function<std::shared_ptr<void>()> charge;
    };

    // `configured` is what is played where no file is named.
    Timeline_Run(asio::io_context &context, std::vector<Timeline_Event> configured, Handlers handlers);
    Timeline_Run(const Timeline_Run &) = delete;
    Timeline_Run &operator=(const Timeline_Run &) = delete;

    bool has_configured() const { return !configured_.empty(); }
    // An empty path: the configured one. Throws Refused while one is played, and for one without events.
    void play(const std::string &path, const Finished &finished);

    // Of the last timeline that began.
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
    bool waits_ = false; // for a file that one of the events named
    std::deque<Timeline_Event> due_;
    std::optional<Timeline_Player> player_;
};

} // namespace wispd
