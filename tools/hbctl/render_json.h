// All standard output for programs: one JSON object a line, with keys in a fixed order.
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

Lines status_json(const StatusReport &report);
Lines nodes_json(const Picture &picture);
Lines networks_json(const Picture &picture);
Lines adapters_json(const Picture &picture);
Lines sites_json(const Picture &picture);

Lines route_json(const RouteReport &report);
Lines keys_json(const KeyReport &report);
Lines migration_json(const MigrationReport &report);
Lines adapter_states_json(const std::vector<AdapterStateRow> &rows);

// The result of a request: sent, or done where the daemon answers.
std::string control_json(const ControlRequest &request);
std::string multicast_json(const MulticastRequest &request, std::size_t bytes);

std::string event_json(const EventRecord &event);

// The connection to the daemon failed, or works again.
std::string disconnected_json(WallTime time, const std::string &socket);
std::string reconnected_json(WallTime time, const StatusReport &report);

// The migration to the cluster service succeeded or failed.
std::string migration_step_json(WallTime time, const std::string &step, const Preparation &preparation);

} // namespace hbctl
