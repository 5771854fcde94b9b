// SPDX-License-Identifier: Apache-2.0
// Calls a function when suspicions of a Node_Control are due.
#pragma once

#include <functional>

#include <asio/steady_timer.hpp>

#include "cluster/node_control.h"

namespace wispd {

class Suspicion_Timer {
  public:
    // `control` must outlive this object.
    Suspicion_Timer(asio::io_context &context, const Node_Control &control, std::function<void()> on_due);

    // Must be called after any change of the suspicions, including the removal of those that were due.
    void set();

  private:
    const Node_Control &control_;
    std::function<void()> on_due_;
    asio::steady_timer timer_;
};

} // namespace wispd
