// SPDX-License-Identifier: Apache-2.0
// Checks and prepares the system before the daemon creates anything in it.
#pragma once

#include <string>
#include <sys/types.h>

#include "daemon/settings.h"
#include "host/socket_file.h"

namespace wispd {

// Returns the id of a group given by name or number; -1 for an empty name. Throws Start_Failure, which names
// `key`, the entry of [daemon] with the group.
gid_t find_group(const std::string &name, const char *key = "group");

// Resolves the groups and modes of [daemon] in this system. Throws Start_Failure.
Access find_access(const Daemon_Settings &settings);

// Reduces the number of connections to the available descriptors. Some descriptors are kept for other uses. A
// log line reports when fewer connections than configured remain.
User_Limits limits_that_fit(User_Limits limits);

// Checks the paths, creates the default directory and raises the descriptor limit. Returns the access rights
// for what the daemon creates. Throws Start_Failure.
Access prepare_system(const std::string &socket_path, const std::string &control_path,
                      const Daemon_Settings &settings);

} // namespace wispd
