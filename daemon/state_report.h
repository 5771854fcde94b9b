// SPDX-License-Identifier: Apache-2.0
// Formats the cluster model and the clients as JSON for `wispctl state`.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "cluster/cluster.h"
#include "cluster/keyring.h"
#include "cluster/node_control.h"
#include "cluster/routes.h"
#include "daemon/publisher/publisher.h"
#include "engine/engine.h"

namespace wispd {

struct Timeline_Status {
    std::size_t events = 0;
    std::size_t played = 0;
};

// The resources that one user holds with all its connections.
struct User_Status {
    User_Holding clients;
    std::size_t control_connections = 0;
};

struct Daemon_Status {
    std::string version;
    std::chrono::steady_clock::duration uptime;
    std::string log_level;
};

// What the report shows. It contains the number of keys, never their bytes.
struct State_View {
    Daemon_Status daemon;
    const Cluster &cluster;
    const Node_Control &control;
    const Routes &routes;
    Hb_Sequence_Number route_sequence; // generation of the routes in shared memory
    bool routes_are_current;
    const Keyring &keyring;
    std::vector<Client_Status> clients;
    std::map<uid_t, User_Status> users;
    Timeline_Status timeline;
    const Engine_Status *engine; // null: the file describes the cluster
    const char *engine_type;     // in [source]; used only with an engine
    bool ends_soon;
    Time now;
};

// Returns {"ok":true,"state":{...}} in one line.
std::string state_line(const State_View &view);

} // namespace wispd
