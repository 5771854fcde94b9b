// SPDX-License-Identifier: Apache-2.0
// SIGINT, SIGTERM and SIGHUP as a descriptor that becomes readable.
#pragma once

namespace hbctl {

// The first signal makes the descriptor readable, or ends the process at once if it is inside a Library_Call. A second
// SIGINT or SIGTERM ends the process at once, in case something else blocks. An ignored SIGHUP stays ignored. Only one
// object may exist at a time; its destructor restores the old dispositions.
class Stop_Signal {
  public:
    Stop_Signal();
    ~Stop_Signal();
    Stop_Signal(const Stop_Signal &) = delete;
    Stop_Signal &operator=(const Stop_Signal &) = delete;

    int descriptor() const { return read_end_; }
    // The signal that made the descriptor readable. Only one call can return it.
    int signal() const;

  private:
    int read_end_ = -1;
    int write_end_ = -1;
};

} // namespace hbctl
