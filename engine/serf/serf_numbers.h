// SPDX-License-Identifier: Apache-2.0
// Decides which node a member of a gossip network is.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "engine/engine_settings.h"
#include "engine/serf/serf_report.h"

namespace wispd {

class Serf_Numbers {
  public:
    explicit Serf_Numbers(const Serf_Settings &settings);

    struct Answer {
        std::optional<int> node;
        std::string reason; // why the member has no node
    };

    // The tag hb_node decides, then the name of a configured node. Where members are discovered, the number at the end
    // of the member's name decides last. A configured cluster has only its configured nodes.
    Answer node_of(const Serf_Member &member) const;

  private:
    Answer checked(const std::string &digits) const;

    bool discover_;
    int max_nodes_;
    std::map<std::string, int> by_name_;
    std::map<int, std::string> configured_;
};

} // namespace wispd
