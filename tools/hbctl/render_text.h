// All standard output for people, line by line.
#pragma once

#include <string>
#include <vector>

#include "tools/hbctl/cluster_picture.h"
#include "tools/hbctl/control_arguments.h"
#include "tools/hbctl/control_report.h"
#include "tools/hbctl/event_record.h"
#include "tools/hbctl/migration_report.h"
#include "tools/hbctl/request_result.h"
#include "tools/hbctl/status_report.h"

namespace hbctl {

using Lines = std::vector<std::string>;

Lines status_text(const Status_Report &report);
Lines nodes_text(const Picture &picture);
Lines networks_text(const Picture &picture);
Lines adapters_text(const Picture &picture);
Lines sites_text(const Picture &picture);

Lines route_text(const Route_Report &report);
Lines keys_text(const Key_Report &report);
Lines migration_text(const Migration_Report &report);
Lines adapter_states_text(const std::vector<Adapter_State_Row> &rows);

// The result of a request.
std::string control_text(const Control_Request &request, Request_Result result);
std::string multicast_text(const Multicast_Request &request, std::size_t bytes, Request_Result result);

// The heading over event lines, and one event.
std::string event_heading_text();
std::string event_text(const Event_Record &event);

// The parts of that line: "node death", and what happened.
std::string event_kind_text(const Event_Record &event);
std::string event_detail_text(const Event_Record &event);

// A line between the events, about the connection to the daemon.
std::string notice_text(Wall_Time time, const std::string &kind, const std::string &detail);

// "5 nodes (4 up), 2 networks, 10 adapters (8 up)"
std::string counts_text(const Counts &counts);

} // namespace hbctl
