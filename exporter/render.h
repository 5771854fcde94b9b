// SPDX-License-Identifier: Apache-2.0
// The texts that the exporter serves, made from a snapshot alone.
#pragma once

#include <chrono>
#include <string>

#include "exporter/snapshot.h"

namespace exporter {

// HTTP clients choose between the two. Textfile collectors read only the second.
enum class Format { openmetrics, prometheus_text };

inline constexpr const char *OPENMETRICS_TYPE = "application/openmetrics-text; version=1.0.0; charset=utf-8";
inline constexpr const char *PROMETHEUS_TEXT_TYPE = "text/plain; version=0.0.4; charset=utf-8";

// Returns the metrics. Without contact they hold no configuration and no states: old ones would mislead.
std::string render_metrics(const Snapshot &snapshot, Steady_Time now, std::chrono::milliseconds stale,
                           Format format);

// Returns one line, with its newline, for people and for probes.
std::string render_health(const Snapshot &snapshot, Steady_Time now, std::chrono::milliseconds stale);

// Returns the value of a label with backslashes, quotes and line ends escaped.
std::string escaped(const std::string &value);

} // namespace exporter
