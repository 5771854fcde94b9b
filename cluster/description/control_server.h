// SPDX-License-Identifier: Apache-2.0
// The server of the control socket: it receives a line of JSON and answers with a line of JSON.
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
    std::string line; // without its line end
    bool then_stop = false;
    // For the log, so it quotes no file. Empty: done.
    std::string why_rejected = {};
    bool only_reads = false; // the command changed nothing, as state
};

class Control_Server {
  public:
    using Reply = std::function<void(Control_Answer)>;

    struct Handlers {
        std::function<bool(const Peer &peer)> may_control; // called once for each connection
        // Calls `reply` once, at any time while this server exists.
        std::function<void(const Peer &peer, std::string_view line, const Reply &reply)> on_line;
        std::function<void()> on_stop; // after the answer to a stop was written
        // Are called around lines that arrived together. on_lines_end is called before their answers are written.
        std::function<void()> on_lines_begin = [] {};
        std::function<void()> on_lines_end = [] {};
    };

    // Limits: all connections, those reserved for root and the daemon's own user, those of any other user.
    static constexpr std::size_t CONNECTIONS = 64;
    static constexpr std::size_t RESERVED = 8;
    static constexpr std::size_t CONNECTIONS_OF_USER = 16;

    // The idle time when the configuration does not set it.
    static constexpr std::chrono::microseconds IDLE{60000000};

    // Adopts the listening descriptor. A connection expires after this time without a line or an answer.
    Control_Server(asio::io_context &context, int listening, std::chrono::microseconds idle, Handlers handlers);
    Control_Server(const Control_Server &) = delete;
    Control_Server &operator=(const Control_Server &) = delete;
    ~Control_Server();

    // Applies to connections and lines from now on.
    void set_idle(std::chrono::microseconds idle);
    // Returns the number of connections of each user.
    std::map<uid_t, std::size_t> connections() const;

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace wispd
