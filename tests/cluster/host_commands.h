// SPDX-License-Identifier: Apache-2.0
// Command lines for hosts: faults, repairs, queries.
#pragma once

#include <string>

#include "tests/cluster/hosts.h"

namespace hb_test {

extern const char *const HOST_COMMANDS_HELP;

// The answer: the requested information, if any, and then a line "ok" with the time at which the command began,
// in seconds since 1970. On failure, a line "error: ..." with the reason.
std::string obey(Hosts &hosts, const std::string &line);

} // namespace hb_test
