// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/health.h"

#include <algorithm>

#include "tools/hbctl/plain_text.h"

namespace hbctl {
namespace {

std::string health_name(Health health) {
    switch (health) {
    case Health::ok:
        return "OK";
    case Health::warning:
        return "WARNING";
    case Health::critical:
        return "CRITICAL";
    case Health::unknown:
        break;
    }
    return "UNKNOWN";
}

// With more nodes down than this, fewer than a majority are up.
std::size_t most_of_minority(std::size_t nodes) {
    return nodes == 0 ? 0 : (nodes - 1) / 2;
}

std::size_t critical_nodes(const Counts &counts, const Thresholds &thresholds) {
    return thresholds.nodes_critical.value_or(most_of_minority(counts.nodes));
}

Health judge(std::size_t down, std::size_t warning, std::optional<std::size_t> critical) {
    if (critical && down > *critical) {
        return Health::critical;
    }
    return down > warning ? Health::warning : Health::ok;
}

// label=value;warning;critical;minimum;maximum
std::string measure(const std::string &label, std::size_t down, std::size_t warning,
                    std::optional<std::size_t> critical, std::size_t all) {
    return label + "=" + std::to_string(down) + ";" + std::to_string(warning) + ";" +
           (critical ? std::to_string(*critical) : "") + ";0;" + std::to_string(all);
}

std::string up_of_all(std::size_t up, std::size_t all, const std::string &noun) {
    return std::to_string(up) + " of " + counted(all, noun) + " up";
}

} // namespace

Health judge(const Counts &counts, const Thresholds &thresholds) {
    if (!counts.nodes_known || !counts.adapters_known) {
        return Health::unknown;
    }
    return std::max(
        judge(counts.nodes - counts.nodes_up, thresholds.nodes_warning, critical_nodes(counts, thresholds)),
        judge(counts.adapters - counts.adapters_up, thresholds.adapters_warning, thresholds.adapters_critical));
}

std::string health_text(const Counts &counts, const Thresholds &thresholds) {
    const Health health = judge(counts, thresholds);
    if (health == Health::unknown) {
        return health_text(health, "the daemon did not report which nodes and adapters are up");
    }
    return health_text(health, up_of_all(counts.nodes_up, counts.nodes, "node") + ", " +
                                   up_of_all(counts.adapters_up, counts.adapters, "adapter")) +
           " | " +
           measure("nodes_down", counts.nodes - counts.nodes_up, thresholds.nodes_warning,
                   critical_nodes(counts, thresholds), counts.nodes) +
           " " +
           measure("adapters_down", counts.adapters - counts.adapters_up, thresholds.adapters_warning,
                   thresholds.adapters_critical, counts.adapters);
}

// A bar would begin the performance data.
std::string health_text(Health health, const std::string &reason) {
    std::string text = "CLUSTER " + health_name(health) + " - " + reason;
    std::replace(text.begin(), text.end(), '|', '/');
    return text;
}

} // namespace hbctl
