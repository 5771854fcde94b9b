// SPDX-License-Identifier: Apache-2.0
// Connects the engine to the daemon: passes each change of the cluster to the daemon's event loop.
//
// A blocked engine can leave a query unanswered for as long as it is blocked. A separate thread sends the
// queries, so clients are served meanwhile. A silence longer than the grace is treated as the end of the engine.
#pragma once

#include <functional>
#include <memory>

#include "engine/engine.h"

namespace asio {
class io_context;
}

namespace wispd {

// Waits, without an event loop, for the first step: at most the longer of the grace and the time to connect, and a
// little more while a query is pending. Throws std::runtime_error, which states what is wrong with the engine or its
// configuration. If it does not answer at all, `engine` becomes null: the thread that waits for the answer keeps the
// object.
Engine_Step await_engine(std::unique_ptr<Engine> &engine);

class Engine_Source {
  public:
    // Continues after the engine's first step. The next steps are reported in the event loop's thread.
    Engine_Source(asio::io_context &context, std::unique_ptr<Engine> engine, const Engine_Step &first,
                  std::function<void(const Engine_Step &)> on_step);
    Engine_Source(const Engine_Source &) = delete;
    Engine_Source &operator=(const Engine_Source &) = delete;
    // Does not wait for an unresponsive engine: its thread is left behind and uses nothing of the event loop.
    ~Engine_Source();

    Engine_Name name() const;
    Engine_Status status() const;
    // Applies from the engine's next poll on.
    void set(const Engine_Settings &settings);

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace wispd
