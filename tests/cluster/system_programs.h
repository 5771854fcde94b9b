// Programs of the system administrator, which ordinary users do not have in their PATH.
#ifndef HB_TEST_CLUSTER_SYSTEM_PROGRAMS_H
#define HB_TEST_CLUSTER_SYSTEM_PROGRAMS_H

#include <optional>
#include <string>
#include <vector>

#include "tests/support/child_process.h"

namespace hb_test {

// A PATH that has the system's directories before what PATH is.
ChildProcess::Environment with_system_path();
// The first of them that this PATH does not lead to.
std::optional<std::string> missing_program(const std::vector<std::string> &programs);

} // namespace hb_test

#endif
