// SPDX-License-Identifier: Apache-2.0
// Follows the cluster on a thread of its own, which alone calls the library: a call waits for as long as the daemon is
// stopped, and the screen must neither wait nor ignore a key meanwhile.
#pragma once

#include <memory>

#include "tools/hbctl/top/top_board.h"

namespace hbctl {

class Follower {
  public:
    // Connects, follows, and connects again after a loss. Throws std::system_error.
    explicit Follower(const std::shared_ptr<Top_Board> &board);
    // Disconnects. Leaves the thread alone if it waits inside the library.
    ~Follower();
    Follower(const Follower &) = delete;
    Follower &operator=(const Follower &) = delete;

    // Why following is not possible at all, once it is known; empty otherwise.
    std::string failure() const;

  private:
    struct State;
    std::shared_ptr<State> state_; // shared with the thread
};

} // namespace hbctl
