// SPDX-License-Identifier: Apache-2.0
#include "utils/new_data_hook.h"

void wisp_pin_new_data(void * /*ptr*/, unsigned int /*sz*/) {}
