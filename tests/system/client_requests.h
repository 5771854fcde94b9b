// SPDX-License-Identifier: Apache-2.0
// The client program's commands for requests and shared segments; events and configuration are elsewhere.
#pragma once

#include "tests/system/client_text.h"

namespace hb_test {

// Returns false if the words are none of these commands.
bool obey_request(const Words &words);

} // namespace hb_test
