// segment_reader, run many times at once.
#ifndef HB_TEST_SYSTEM_READERS_H
#define HB_TEST_SYSTEM_READERS_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/system/daemon.h"

namespace hb_test {

std::unique_ptr<ChildProcess> start_reader(const Programs &programs, const Daemon &daemon,
                                           const std::vector<std::string> &words);

// They read on until they are told to end.
class Readers {
  public:
    // Two of each program of the setup, one of the two interrupted all the time. Returns when all have read.
    void start(const Setup &setup, const Daemon &daemon, const std::string &what);
    // Makes the change happen until each of them has seen so many changes.
    void change_until_all_have_seen(int count, const std::function<void()> &change);
    // Ends them. None may have found anything torn or missing.
    void end_well();

  private:
    std::vector<std::unique_ptr<ChildProcess>> processes_;
};

} // namespace hb_test

#endif
