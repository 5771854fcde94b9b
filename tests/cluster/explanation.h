// Whether what a client was told is what its engine went through: each event for a reason, nothing left out.
#ifndef HB_TEST_CLUSTER_EXPLANATION_H
#define HB_TEST_CLUSTER_EXPLANATION_H

#include <map>
#include <string>
#include <vector>

#include "tests/cluster/told.h"
#include "tests/cluster/witness.h"

namespace hb_test {

struct Explanation {
    std::vector<std::string> faults; // what was told without a reason, and what was not told
    // From what the observer saw to the client's event, in seconds, by what the event told.
    std::map<std::string, std::vector<double>> delays;
    unsigned explained = 0;
    unsigned passed_over = 0; // turns that were over before the daemon could have seen them
};

// The lines of one client, from its start to its end or to a moment in which nothing is under way.
Explanation explain(const std::vector<Told> &told, const Witness &witness, const Patience &patience);

} // namespace hb_test

#endif
