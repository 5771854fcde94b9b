// SPDX-License-Identifier: Apache-2.0
// Checks whether a client's events match what its engine did: each event has a reason, and none is missing.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/cluster/history.h"
#include "tests/cluster/told.h"

namespace hb_test {

struct Explanation {
    std::vector<std::string> faults; // events without a reason, and missing events
    // The time from the observer's record to the client's event, in seconds, by kind of event.
    std::map<std::string, std::vector<double>> delays;
    unsigned explained = 0;
    unsigned passed_over = 0; // turns that ended before the daemon could have seen them
};

// The lines of one client, from its start to its end, or to a moment when nothing is in progress.
Explanation explain(const std::vector<Told> &told, const History &history, const Patience &patience);

} // namespace hb_test
