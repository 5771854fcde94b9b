// SPDX-License-Identifier: Apache-2.0
// The signals that a full-screen program must not die of, as a descriptor.
#pragma once

#include <vector>

namespace hbctl {

// Receives SIGINT, SIGTERM, SIGHUP, SIGQUIT (each asks the program to end), SIGWINCH, SIGTSTP and SIGCONT. If the
// program has not ended two seconds after it was asked, for instance because the terminal accepts no output, the
// terminal's settings are restored and the process ends; a second such signal does that at once. Only one object may
// exist at a time; its destructor restores the old dispositions.
class Screen_Signals {
  public:
    // Throws std::system_error.
    Screen_Signals();
    ~Screen_Signals();
    Screen_Signals(const Screen_Signals &) = delete;
    Screen_Signals &operator=(const Screen_Signals &) = delete;

    int descriptor() const { return read_end_; }
    // Returns the signals that have arrived since the last call.
    std::vector<int> arrived() const;
    static bool asks_to_end(int signal);
    // Stops this process as SIGTSTP does without a handler. Returns when it continues.
    static void stop_process();

  private:
    int read_end_ = -1;
    int write_end_ = -1;
};

} // namespace hbctl
