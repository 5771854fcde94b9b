// SPDX-License-Identifier: Apache-2.0
// Runs segment_reader many times at once.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/system/daemon.h"

namespace hb_test {

std::unique_ptr<Child_Process> start_reader(const Programs &programs, const Daemon &daemon,
                                            const std::vector<std::string> &words);

// The readers read on until the test ends them.
class Readers {
  public:
    // Starts two of each program of the setup; one of the two is interrupted all the time. Returns when all
    // have read.
    void start(const Setup &setup, const Daemon &daemon, const std::string &what);
    // Repeats the change until each reader has seen this many changes.
    void change_until_all_have_seen(int count, const std::function<void()> &change);
    // Ends them. None may have found torn or missing data.
    void end_well();

  private:
    std::vector<std::unique_ptr<Child_Process>> processes_;
};

} // namespace hb_test
