// SPDX-License-Identifier: Apache-2.0
#include "lib/vexo/Hb_Csock_Base.h"

Hb_Csock_Base::Hb_Csock_Base() : myError(0) {}

Hb_Csock_Base::~Hb_Csock_Base() = default;

long Hb_Csock_Base::Error() {
    return myError;
}
