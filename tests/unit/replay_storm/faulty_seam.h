// SPDX-License-Identifier: Apache-2.0
// Stands between the library and the installed service. It passes every call on, makes the calls fail that a
// storm chooses, and records what was read.
#pragma once

#include <vector>

#include "qz_mox.h"

namespace hb_test::replay_storm::faulty_seam {

enum class Query { cluster, nodes, interfaces };

// `skip` queries of the kind work, then `times` queries fail.
void fail(Query query, int skip, int times);
// The next reading fails, and reads nothing.
void fail_reading();
void heal();
// The numbers of queries and of readings that have failed since the start.
int failed_queries();
int failed_readings();

// The events of nodes that were read since the last call, in order.
struct Reading {
    qz_orb_event_category_t category;
    qz_orb_event_type_t type;
    int node;
};
std::vector<Reading> take_readings();

// The number of lists and of events that were given out and not released.
int lists_out();
int events_out();

} // namespace hb_test::replay_storm::faulty_seam
