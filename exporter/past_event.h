// SPDX-License-Identifier: Apache-2.0
// Turns an event of the library into a line for people.
#pragma once

#include "exporter/snapshot.h"
#include "hb_client.h"

namespace exporter {

// Returns the line of an event that the library just returned. The snapshot supplies names.
Past_Event describe_event(Event_Kind kind, Hb_Group &group, const Snapshot &snapshot);

// Returns for instance "nodes alpha, beta and 3 more": the first members by name.
std::string members_text(const std::string &one, const std::string &several,
                         const std::vector<std::string> &names, std::size_t count);

} // namespace exporter
