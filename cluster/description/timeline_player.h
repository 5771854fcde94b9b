// SPDX-License-Identifier: Apache-2.0
// Plays a timeline: reports each event when it is due.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "cluster/description/timeline.h"

namespace asio {
class io_context;
}

namespace wispd {

class Timeline_Player {
  public:
    // Starts immediately and calls `on_event` with each event when it is due.
    Timeline_Player(asio::io_context &context, std::vector<Timeline_Event> events,
                    std::function<void(const Timeline_Event &)> on_event);
    Timeline_Player(const Timeline_Player &) = delete;
    Timeline_Player &operator=(const Timeline_Player &) = delete;
    ~Timeline_Player();

    std::size_t size() const;
    std::size_t played() const;

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace wispd
