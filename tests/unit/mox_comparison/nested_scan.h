// SPDX-License-Identifier: Apache-2.0
// The comparison of tables in its plainest form: every adapter against every adapter, in the order of the
// lists.
#pragma once

#include <vector>

#include "tests/unit/mox_comparison/tables.h"

namespace hb_test {

struct Missing {
    bool event = false; // whether there is an event
    int count = 0;
    std::vector<unsigned> members; // ascending, each once

    bool operator==(const Missing &) const = default;
};
void PrintTo(const Missing &missing, std::ostream *out);

Missing adapters_missing_by_scan(const Plain_Table &from, const Plain_Table &in);
Missing nodes_missing_by_scan(const Plain_Table &from, const Plain_Table &in);
bool config_changed_by_scan(const Plain_Table &one, const Plain_Table &other);

} // namespace hb_test
