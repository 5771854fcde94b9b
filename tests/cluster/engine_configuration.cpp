// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/engine_configuration.h"

#include <sstream>

namespace hb_test {
namespace {

// An engine that cannot send spins until it can. Alone on a machine it may run ahead of everything else; here
// that would block its neighbours.
const char *const SCHEDULING = "    sched_rr: no\n    priority: -5\n";

// The links' heartbeat times follow the token, unless each link has its own setting.
void write_links(std::ostream &text, std::size_t links, int timeout) {
    for (std::size_t link = 0; link < links; ++link) {
        text << "    interface {\n        linknumber: " << link
             << "\n        knet_ping_interval: " << timeout / 2 << "\n        knet_ping_timeout: " << timeout
             << "\n    }\n";
    }
}

void write_node(std::ostream &text, const Engine_Node &node) {
    text << "    node {\n        nodeid: " << node.id << "\n        name: " << node.name << '\n';
    for (std::size_t link = 0; link < node.addresses.size(); ++link) {
        text << "        ring" << link << "_addr: " << node.addresses[link] << '\n';
    }
    text << "    }\n";
}

} // namespace

std::string engine_configuration(const Engine_Settings &settings, const std::vector<Engine_Node> &nodes) {
    std::ostringstream text;
    text << "totem {\n    version: 2\n    cluster_name: " << settings.cluster_name
         << "\n    transport: knet\n    link_mode: active\n    token: " << settings.token
         << "\n    token_coefficient: 0\n";
    if (settings.link_timeout) {
        write_links(text, nodes.empty() ? 0 : nodes[0].addresses.size(), *settings.link_timeout);
    }
    text << "}\nquorum {\n    provider: corosync_votequorum\n}\n"
            "system {\n    state_dir: "
         << ENGINE_STATE << "\n"
         << SCHEDULING
         << "    move_to_root_cgroup: no\n    allow_knet_handle_fallback: yes\n}\n"
            "logging {\n    to_stderr: no\n    to_syslog: no\n    to_logfile: yes\n    logfile: "
         << ENGINE_LOG << "\n    timestamp: hires\n}\n";
    for (const uid_t user : settings.users) {
        text << "uidgid {\n    uid: " << user << "\n}\n";
    }
    text << "nodelist {\n";
    for (const Engine_Node &node : nodes) {
        write_node(text, node);
    }
    text << "}\n";
    return text.str();
}

} // namespace hb_test
