// All standard output for people, line by line.
#pragma once

#include "tools/hbctl/cluster_picture.h"
#include "tools/hbctl/control_arguments.h"
#include "tools/hbctl/control_report.h"
#include "tools/hbctl/event_record.h"
#include "tools/hbctl/migration_report.h"
#include "tools/hbctl/status_report.h"

#include <string>
#include <vector>

namespace hbctl {

using Lines = std::vector<std::string>;

Lines status_text(const StatusReport &report);
Lines nodes_text(const Picture &picture);
Lines networks_text(const Picture &picture);
Lines adapters_text(const Picture &picture);
Lines sites_text(const Picture &picture);

Lines route_text(const RouteReport &report);
Lines keys_text(const KeyReport &report);
Lines migration_text(const MigrationReport &report);
Lines adapter_states_text(const std::vector<AdapterStateRow> &rows);

// The result of a request: sent, or done where the daemon answers.
std::string control_text(const ControlRequest &request);
std::string multicast_text(const MulticastRequest &request, std::size_t bytes);

// The heading over event lines, and one event.
std::string event_heading_text();
std::string event_text(const EventRecord &event);

// A line between the events, about the connection to the daemon.
std::string notice_text(WallTime time, const std::string &kind, const std::string &detail);

// "5 nodes (4 up), 2 networks, 10 adapters (8 up)"
std::string counts_text(const Counts &counts);

} // namespace hbctl
