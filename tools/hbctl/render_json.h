// SPDX-License-Identifier: Apache-2.0
// All standard output for programs: one JSON object a line, with keys in a fixed order.
#pragma once

#include <string>
#include <vector>

#include "tools/hbctl/cluster_picture.h"
#include "tools/hbctl/control_arguments.h"
#include "tools/hbctl/control_report.h"
#include "tools/hbctl/event_record.h"
#include "tools/hbctl/migration_report.h"
#include "tools/hbctl/report/report_result.h"
#include "tools/hbctl/request_result.h"
#include "tools/hbctl/status_report.h"
#include "tools/hbctl/wait_condition.h"

namespace hbctl {

using Lines = std::vector<std::string>;

Lines status_json(const Status_Report &report);
Lines nodes_json(const Picture &picture);
Lines networks_json(const Picture &picture);
Lines adapters_json(const Picture &picture);
Lines sites_json(const Picture &picture);

Lines route_json(const Route_Report &report);
Lines keys_json(const Key_Report &report);
Lines migration_json(const Migration_Report &report);
Lines adapter_states_json(const std::vector<Adapter_State_Row> &rows);

// What `wait` waited for.
std::string wait_json(const Wait_Condition &condition);

std::string report_json(const Report_Result &result);

// The result of a request.
std::string control_json(const Control_Request &request, Request_Result result);
std::string multicast_json(const Multicast_Request &request, std::size_t bytes, Request_Result result);

std::string event_json(const Event_Record &event);

// The connection to the daemon failed, or works again.
std::string disconnected_json(Wall_Time time, const std::string &socket);
std::string reconnected_json(Wall_Time time, const Status_Report &report);

// The migration to the cluster service succeeded or failed.
std::string migration_step_json(Wall_Time time, const std::string &step, const Preparation &preparation);

} // namespace hbctl
