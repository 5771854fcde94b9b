// Waiting for a condition. Deadlines are generous: they end a test that hangs, and no test passes or fails
// by how long something took.
#ifndef HB_TEST_DEADLINE_H
#define HB_TEST_DEADLINE_H

#include <chrono>
#include <functional>

namespace hb_test {

inline constexpr std::chrono::seconds GENEROUS{60};

class Deadline {
  public:
    explicit Deadline(std::chrono::milliseconds length = GENEROUS);
    bool over() const;
    // What is left, for poll; 0 when over.
    int milliseconds_left() const;

  private:
    std::chrono::steady_clock::time_point end_;
};

// True as soon as the condition holds, false when it still does not at the deadline.
bool wait_until(const std::function<bool()> &condition, const Deadline &deadline = Deadline());

// Until there is something to read, or the end of the stream.
bool wait_readable(int fd, const Deadline &deadline = Deadline());

} // namespace hb_test

#endif
