// The processes that are in a network namespace, found and ended.
#ifndef HB_TEST_CLUSTER_NAMESPACE_SWEEP_H
#define HB_TEST_CLUSTER_NAMESPACE_SWEEP_H

#include <sys/types.h>

#include <set>
#include <string>
#include <vector>

#include "tests/support/deadline.h"

namespace hb_test {

// How the kernel names the process's network namespace; empty when there is no such process.
std::string network_namespace(pid_t process);
std::vector<pid_t> processes_in(const std::set<std::string> &namespaces);
// Kills those, other than the spared ones, and waits until they are gone; false when some are not.
bool end_processes_in(const std::set<std::string> &namespaces, const std::set<pid_t> &spared,
                      const Deadline &deadline = Deadline());

} // namespace hb_test

#endif
