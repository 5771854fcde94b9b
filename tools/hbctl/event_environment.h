// SPDX-License-Identifier: Apache-2.0
// The variables that `hbctl watch --exec` sets for its command.
#pragma once

#include <string>
#include <vector>

#include "tools/hbctl/event_record.h"

namespace hbctl {

// "NAME=value", each with a name from event_variable_names(). A list of members that is too long for a variable is left
// out; the JSON on standard input has all of them.
std::vector<std::string> event_environment(const Event_Record &event);

// Of a line that is not an event: "disconnected", "reconnected", "migration".
std::vector<std::string> notice_environment(const std::string &kind, Wall_Time time);

// All names. The command must not inherit one that its event does not have.
const std::vector<std::string> &event_variable_names();

} // namespace hbctl
