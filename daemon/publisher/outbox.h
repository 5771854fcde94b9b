// SPDX-License-Identifier: Apache-2.0
// The clients that have unsent packets. They are written at the end of the turn.
#pragma once

#include <functional>
#include <vector>

#include "daemon/publisher/turn.h"

namespace wispd {

// Has packets that wait for the end of the turn.
class Sender {
  public:
    virtual void send_queued() = 0;

  protected:
    ~Sender() = default;
};

class Outbox {
  public:
    // `before_sending` is called at the end of each turn, before anything is sent.
    explicit Outbox(std::function<void()> before_sending);
    Outbox(const Outbox &) = delete;
    Outbox &operator=(const Outbox &) = delete;

    Turn &turn() { return turn_; }
    // The sender must exist until the turn ends.
    void add(Sender &sender) { waiting_.push_back(&sender); }

  private:
    void send_all();

    std::function<void()> before_sending_;
    Turn turn_;
    std::vector<Sender *> waiting_;
};

} // namespace wispd
