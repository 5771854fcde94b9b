// What stands in a host's corosync.conf.
#ifndef HB_TEST_CLUSTER_ENGINE_CONFIGURATION_H
#define HB_TEST_CLUSTER_ENGINE_CONFIGURATION_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace hb_test {

struct EngineNode {
    unsigned id = 0;
    std::string name;
    std::vector<std::string> addresses; // by link
};

struct EngineSettings {
    std::string cluster_name = "hb_test";
    // Milliseconds without the token until a loss is supposed. The default of the engine makes a death known after
    // nine seconds; far below this one, a busy machine makes living nodes leave.
    int token = 1000;
    // Milliseconds without an answer until a link is down. The engine's own choice is half of the token.
    std::optional<int> link_timeout = 400;
    // Who may talk to the engine beside root.
    std::vector<uid_t> users;
};

// The engine's own files, in a host's /run.
inline const std::string ENGINE_CONFIGURATION = "/run/corosync.conf";
inline const std::string ENGINE_STATE = "/run/corosync.state";
inline const std::string ENGINE_LOG = "/run/corosync.log";

std::string engine_configuration(const EngineSettings &settings, const std::vector<EngineNode> &nodes);

} // namespace hb_test

#endif
