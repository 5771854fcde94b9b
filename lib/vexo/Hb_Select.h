// SPDX-License-Identifier: Apache-2.0
// The wait set over the select system call.
#pragma once

#include "lib/vexo/Hb_Select_Base.h"

// The values of Error() after a failed wait.
enum Hb_Select_Status : long {
    HB_SELECT_BAD_DESCRIPTOR = 1,
    HB_SELECT_INTERRUPTED = 3,
    HB_SELECT_INVALID = 4,
    HB_SELECT_FAULT = 5,
    HB_SELECT_OTHER = 6,
    HB_SELECT_AGAIN = 7
};

class Hb_Select : public Hb_Select_Base {
  public:
    // Does not wait until timeout() has been called.
    Hb_Select();
    ~Hb_Select() override;
    long Error() override;
    Hb_Rc wait() override;

    long myError;
};
