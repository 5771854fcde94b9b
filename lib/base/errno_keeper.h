// SPDX-License-Identifier: Apache-2.0
// Keeps the system's errno through calls that may change it, so that tracing is invisible to the caller.
#pragma once

#include <cerrno>

class Hb_Errno_Keeper {
  public:
    Hb_Errno_Keeper() : kept_(errno) {}
    ~Hb_Errno_Keeper() { errno = kept_; }
    Hb_Errno_Keeper(const Hb_Errno_Keeper &) = delete;
    Hb_Errno_Keeper &operator=(const Hb_Errno_Keeper &) = delete;

  private:
    int kept_;
};
