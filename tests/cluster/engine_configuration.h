// SPDX-License-Identifier: Apache-2.0
// The contents of a host's corosync.conf.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace hb_test {

struct Engine_Node {
    unsigned id = 0;
    std::string name;
    std::vector<std::string> addresses; // by link
};

struct Engine_Settings {
    std::string cluster_name = "hb_test";
    // Milliseconds without the token until the engine assumes a loss. With the engine's default a death becomes
    // known after nine seconds. With far less than this value, living nodes leave when the machine is busy.
    int token = 1000;
    // Milliseconds without an answer until a link is down. The engine's default is half of the token.
    std::optional<int> link_timeout = 400;
    // The user, besides root, that may connect to the engine.
    std::vector<uid_t> users;
};

// The engine's own files, in a host's /run.
inline const std::string ENGINE_CONFIGURATION = "/run/corosync.conf";
inline const std::string ENGINE_STATE = "/run/corosync.state";
inline const std::string ENGINE_LOG = "/run/corosync.log";

std::string engine_configuration(const Engine_Settings &settings, const std::vector<Engine_Node> &nodes);

} // namespace hb_test
