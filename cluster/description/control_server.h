// The control socket: a line of JSON in, a line of JSON out.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "host/peer.h"

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
    using Reply = std::function<void(Control_Answer)>;

    struct Handlers {
        std::function<bool(const Peer &peer)> may_control; // asked once for each connection
        // Replies once, at any time while this server is there.
        std::function<void(const Peer &peer, std::string_view line, const Reply &reply)> on_line;
        std::function<void()> on_stop; // after the answer to a stop was written
    };

    // In all, those of these that only root and the daemon's own user get, and those of any other user.
    static constexpr std::size_t CONNECTIONS = 64;
    static constexpr std::size_t RESERVED = 8;
    static constexpr std::size_t CONNECTIONS_OF_USER = 16;

    // The idle time where no configuration sets one.
    static constexpr std::chrono::microseconds IDLE{60000000};

    // Takes over the listening descriptor. A connection expires when no line is read or answered for so long.
    Control_Server(asio::io_context &context, int listening, std::chrono::microseconds idle, Handlers handlers);
    Control_Server(const Control_Server &) = delete;
    Control_Server &operator=(const Control_Server &) = delete;
    ~Control_Server();

    // For the connections and lines from now on.
    void set_idle(std::chrono::microseconds idle);
    // How many connections each user has.
    std::map<uid_t, std::size_t> connections() const;

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace wispd
