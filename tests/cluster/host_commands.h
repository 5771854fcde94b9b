// Lines that make something happen to hosts: faults, repairs, questions.
#ifndef HB_TEST_CLUSTER_HOST_COMMANDS_H
#define HB_TEST_CLUSTER_HOST_COMMANDS_H

#include <string>

#include "tests/cluster/hosts.h"

namespace hb_test {

extern const char *const HOST_COMMANDS_HELP;

// The answer: what was asked for, if anything, and then a line "ok" with the time at which the command began, in
// seconds since 1970, or a line "error: ..." and why.
std::string obey(Hosts &hosts, const std::string &line);

} // namespace hb_test

#endif
