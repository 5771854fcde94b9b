// Stands between the library and the service that is installed: it hands every call on, fails the ones that a storm
// chooses, and keeps account of what was read.
#ifndef HB_TEST_REPLAY_STORM_FAULTY_SEAM_H
#define HB_TEST_REPLAY_STORM_FAULTY_SEAM_H

#include <vector>

#include "qz_mox.h"

namespace hb_test::replay_storm::faulty_seam {

enum class Query { cluster, nodes, interfaces };

// So many queries of the kind work, then so many fail.
void fail(Query query, int skip, int times);
// The next reading fails, and reads nothing.
void fail_reading();
void heal();
// How many queries, and how many readings, have failed since the start.
int failed_queries();
int failed_readings();

// What was read about a node since the last call, in order.
struct Reading {
    qz_orb_event_category_t category;
    qz_orb_event_type_t type;
    int node;
};
std::vector<Reading> take_readings();

// What was handed out and not released.
int lists_out();
int events_out();

} // namespace hb_test::replay_storm::faulty_seam

#endif
