// One descriptor for several, and a point in time: readable when one of them is, or the time has come.
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
    // For reading. They stay the caller's, who removes them before they are closed.
    void add(const std::vector<int> &descriptors);
    void remove(const std::vector<int> &descriptors);
    // From then on it is readable, until the next call.
    void wake_at(std::chrono::steady_clock::time_point time);

  private:
    int epoll_ = -1;
    int timer_ = -1;
};

} // namespace wispd
