// The engine as a source of the daemon: in its event loop, what the cluster becomes is handed on.
#ifndef WISPD_ENGINE_SOURCE_H
#define WISPD_ENGINE_SOURCE_H

#include <functional>
#include <memory>

#include "daemon/sources/corosync/engine_follower.h"

namespace asio {
class io_context;
}

namespace wispd {

// Waits, without an event loop, for the engine's first word; as long as the grace at most. Throws
// std::runtime_error, which says what is wrong with the engine or its configuration.
Engine_Step await_engine(Engine_Follower &follower);

class Engine_Source {
  public:
    Engine_Source(asio::io_context &context, Engine_Follower &follower,
                  std::function<void(const Engine_Step &)> on_step);
    Engine_Source(const Engine_Source &) = delete;
    Engine_Source &operator=(const Engine_Source &) = delete;
    ~Engine_Source();

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace wispd

#endif
