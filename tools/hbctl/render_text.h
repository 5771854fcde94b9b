// SPDX-License-Identifier: Apache-2.0
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
#include "tools/hbctl/text_table.h"

namespace hbctl {

using Lines = std::vector<std::string>;

Lines status_text(const Status_Report &report);
// The lines of these tables are ready to print, see Text_Table::lines.
Lines nodes_text(const Picture &picture, const Table_Style &style = {});
Lines networks_text(const Picture &picture, const Table_Style &style = {});
Lines adapters_text(const Picture &picture, const Table_Style &style = {});
Lines sites_text(const Picture &picture, const Table_Style &style = {});
Lines adapter_states_text(const std::vector<Adapter_State_Row> &rows, const Table_Style &style = {});

Lines route_text(const Route_Report &report);
Lines keys_text(const Key_Report &report);
Lines migration_text(const Migration_Report &report);

// The result of a request.
std::string control_text(const Control_Request &request, Request_Result result);
std::string multicast_text(const Multicast_Request &request, std::size_t bytes, Request_Result result);

struct Event_Style {
    bool dates = false;       // in front of each time
    bool short_lines = false; // at most SHORT_LINE columns: names instead of addresses, and cut if need be
};

constexpr std::size_t SHORT_LINE = 80;

// The heading over event lines, and one event.
std::string event_heading_text(const Event_Style &style = {});
std::string event_text(const Event_Record &event, const Event_Style &style = {});

// Parts of that line: "node death", and what happened.
std::string event_kind_text(const Event_Record &event);
std::string event_detail_text(const Event_Record &event);

// A line between the events, about the connection to the daemon or the date.
std::string notice_text(Wall_Time time, const std::string &kind, const std::string &detail,
                        const Event_Style &style = {});

// "5 nodes (4 up), 2 networks, 10 adapters (8 up)"
std::string counts_text(const Counts &counts);

} // namespace hbctl
