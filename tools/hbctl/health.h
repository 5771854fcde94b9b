// SPDX-License-Identifier: Apache-2.0
// The verdict of `hbctl check`, in the form that monitoring systems read.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "tools/hbctl/cluster_picture.h"

namespace hbctl {

// The numbers are exit statuses.
enum class Health { ok = 0, warning = 1, critical = 2, unknown = 3 };

// More members down than the number leads to the verdict.
struct Thresholds {
    std::size_t nodes_warning = 0;
    std::optional<std::size_t> nodes_critical; // none: the local cluster has lost its majority
    std::size_t adapters_warning = 0;
    std::optional<std::size_t> adapters_critical; // none: adapters alone are never critical
};

Health judge(const Counts &counts, const Thresholds &thresholds);

// "CLUSTER OK - 4 of 4 nodes up, 7 of 7 adapters up | nodes_down=0;0;1;0;4 adapters_down=0;0;;0;7"
std::string health_text(const Counts &counts, const Thresholds &thresholds);

// "CLUSTER CRITICAL - no heartbeat daemon listens at ..."
std::string health_text(Health health, const std::string &reason);

} // namespace hbctl
