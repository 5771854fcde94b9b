// SPDX-License-Identifier: Apache-2.0
// Output of `hbctl migrate --check`.
#pragma once

#include <cstddef>

#include "tools/hbctl/migration.h"

namespace hbctl {

struct Migration_Report {
    int local_node = -1;
    std::size_t nodes = 0; // nodes of the daemon
    Preparation preparation;
};

// The result of one step of the comparison. Each step needs the previous one.
enum class Agreement { agrees, differs, not_compared };

inline Agreement local_node_agreement(const Migration_Report &report) {
    switch (report.preparation.obstacle) {
    case Obstacle::none:
    case Obstacle::nodes:
        return Agreement::agrees;
    case Obstacle::local_node:
        return Agreement::differs;
    default:
        return Agreement::not_compared;
    }
}

inline Agreement nodes_agreement(const Migration_Report &report) {
    switch (report.preparation.obstacle) {
    case Obstacle::none:
        return Agreement::agrees;
    case Obstacle::nodes:
        return Agreement::differs;
    default:
        return Agreement::not_compared;
    }
}

// Returns whether the cluster service reported its cluster.
inline bool service_answers(const Migration_Report &report) {
    return local_node_agreement(report) != Agreement::not_compared;
}

} // namespace hbctl
