// SPDX-License-Identifier: Apache-2.0
// Finds and ends the processes in a network namespace.
#pragma once

#include <set>
#include <string>
#include <sys/types.h>
#include <vector>

#include "tests/support/deadline.h"

namespace hb_test {

// The kernel's name of the process's network namespace; empty if there is no such process.
std::string network_namespace(pid_t process);
std::vector<pid_t> processes_in(const std::set<std::string> &namespaces);
// Kills those processes, except the spared ones, and waits for their end. Returns false if some remain.
bool end_processes_in(const std::set<std::string> &namespaces, const std::set<pid_t> &spared,
                      const Deadline &deadline = Deadline());

} // namespace hb_test
