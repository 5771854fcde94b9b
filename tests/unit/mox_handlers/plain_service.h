// SPDX-License-Identifier: Apache-2.0
// A service that allocates nothing, knows no nodes, and delivers the given events.
#pragma once

#include <vector>

#include "qz_mox.h"

namespace hb_test {

// It is installed while the object exists; only one may exist at a time.
class Plain_Service {
  public:
    // With a null name the service does not know its cluster.
    explicit Plain_Service(const char *cluster_name);
    Plain_Service(const Plain_Service &) = delete;
    Plain_Service &operator=(const Plain_Service &) = delete;
    ~Plain_Service();

    // The result of every reading from now on. Before this call it is an event without a record.
    void give(const qz_orb_event_metadata_t &event);
    int events_given() const;
    int events_released() const;
    // The categories of the events after which the library queried the interfaces.
    std::vector<int> interfaces_asked_after() const;
};

} // namespace hb_test
