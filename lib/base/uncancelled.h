// SPDX-License-Identifier: Apache-2.0
// Delays the cancellation of a thread where it must not unwind, as in destructors.
#pragma once

#include <pthread.h>

class Hb_Uncancelled {
  public:
    Hb_Uncancelled() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
    ~Hb_Uncancelled() { pthread_setcancelstate(before_, nullptr); }
    Hb_Uncancelled(const Hb_Uncancelled &) = delete;
    Hb_Uncancelled &operator=(const Hb_Uncancelled &) = delete;

  private:
    int before_ = 0;
};
