// SPDX-License-Identifier: Apache-2.0
// A hook for new memory.
#pragma once

// Called for every new block of counted allocation. Does nothing. It is a module of its own, so that a
// program that links the static library can replace it.
void wisp_pin_new_data(void *ptr, unsigned int sz);
