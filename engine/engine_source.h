// The engine as a source of the daemon: what the cluster becomes is handed to its event loop.
//
// An engine that is held up leaves a question without an answer for as long. So it is asked by a thread of its own:
// clients are served meanwhile, and a silence beyond the grace is taken as the engine's end.
#pragma once

#include <functional>
#include <memory>

#include "engine/engine_follower.h"

namespace asio {
class io_context;
}

namespace wispd {

// Waits, without an event loop, for the engine's first word; as long as the grace at most, and for the answer to a
// question a little longer. Throws std::runtime_error, which says what is wrong with the engine or its configuration;
// with an engine that answers nothing the follower is lost.
Engine_Step await_engine(std::unique_ptr<Engine_Follower> &follower);

class Engine_Source {
  public:
    // Goes on from the follower's first step. The steps that follow are told in the loop's thread.
    Engine_Source(asio::io_context &context, std::unique_ptr<Engine_Follower> follower,
                  const Engine_Step &first, std::function<void(const Engine_Step &)> on_step);
    Engine_Source(const Engine_Source &) = delete;
    Engine_Source &operator=(const Engine_Source &) = delete;
    // Does not wait for an engine that is silent: the thread then stays behind and touches nothing of the loop.
    ~Engine_Source();

    Engine_Status status() const;
    // From the follower's next look on.
    void set(const Engine_Settings &settings);

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace wispd
