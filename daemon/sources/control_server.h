// The control socket: a line of JSON in, a line of JSON out.
#ifndef WISPD_CONTROL_SERVER_H
#define WISPD_CONTROL_SERVER_H

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "daemon/publisher/peer.h"

namespace asio {
class io_context;
}

namespace wispd {

struct Control_Answer {
    std::string line; // without its end
    bool then_stop = false;
};

class Control_Server {
  public:
    struct Handlers {
        std::function<bool(const Peer &peer)> may_control; // asked once for each connection
        std::function<Control_Answer(const Peer &peer, std::string_view line)> on_line;
        std::function<void()> on_stop; // after the answer to a stop was written
    };

    // Takes over the listening descriptor.
    Control_Server(asio::io_context &context, int listening, Handlers handlers);
    Control_Server(const Control_Server &) = delete;
    Control_Server &operator=(const Control_Server &) = delete;
    ~Control_Server();

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace wispd

#endif
