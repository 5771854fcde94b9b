// SPDX-License-Identifier: Apache-2.0
// One descriptor that combines several with a point in time: readable when any of them is, or at that time.
#pragma once

#include <chrono>
#include <vector>

namespace wispd {

class Wait_Point {
  public:
    // Throws std::system_error, as add() does.
    Wait_Point();
    Wait_Point(const Wait_Point &) = delete;
    Wait_Point &operator=(const Wait_Point &) = delete;
    ~Wait_Point();

    int descriptor() const { return epoll_; }
    // Waits on the descriptors for reading. The caller owns them, and removes them before it closes them.
    void add(const std::vector<int> &descriptors);
    void remove(const std::vector<int> &descriptors);
    // Makes the descriptor readable from that time until the next call.
    void wake_at(std::chrono::steady_clock::time_point time);

  private:
    int epoll_ = -1;
    int timer_ = -1;
};

} // namespace wispd
