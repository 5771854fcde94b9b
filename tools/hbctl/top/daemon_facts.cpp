// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/top/daemon_facts.h"

#include "common/cluster_file.h"
#include "common/printable.h"
#include "common/socket_path.h"

namespace hbctl {

std::optional<Daemon_Facts> read_daemon_facts() {
    const std::optional<common::Cluster_File> file =
        common::read_cluster_file(common::socket_path_from_environment());
    if (!file) {
        return std::nullopt;
    }
    Daemon_Facts facts;
    facts.cluster = terminal::printable(file->cluster);
    facts.version = terminal::printable(file->version);
    facts.engine = terminal::printable(file->engine);
    facts.started = file->started;
    for (const auto &[number, name] : file->nodes) {
        facts.nodes.emplace(number, terminal::printable(name));
    }
    return facts;
}

} // namespace hbctl
