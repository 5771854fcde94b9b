// What has to be so in the system before the daemon makes anything in it.
#pragma once

#include <string>
#include <sys/types.h>

#include "daemon/settings.h"
#include "host/socket_file.h"

namespace wispd {

// By its name or number; -1 for an empty name. Throws Start_Failure, which names the key of [daemon] that has it.
gid_t find_group(const std::string &name, const char *key = "group");

// What the groups and modes of [daemon] mean in this system. Throws Start_Failure.
Access find_access(const Daemon_Settings &settings);

// The limits with no more connections than there are descriptors for. Some are kept for everything else; the log says
// when that leaves fewer connections than configured.
User_Limits limits_that_fit(User_Limits limits);

// Checks the paths, makes the default's directory, raises the limit of descriptors; gives who gets access to
// what is made. Throws Start_Failure.
Access prepare_system(const std::string &socket_path, const std::string &control_path,
                      const Daemon_Settings &settings);

} // namespace wispd
