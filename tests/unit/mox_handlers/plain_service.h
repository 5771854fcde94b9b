// A service that allocates nothing, knows no nodes, and gives the events that it is told to.
#ifndef HB_TEST_MOX_HANDLERS_PLAIN_SERVICE_H
#define HB_TEST_MOX_HANDLERS_PLAIN_SERVICE_H

#include <vector>

#include "qz_mox.h"

namespace hb_test {

// Installed for as long as it lives; one at a time.
class Plain_Service {
  public:
    // A null name: the service does not know it.
    explicit Plain_Service(const char *cluster_name);
    Plain_Service(const Plain_Service &) = delete;
    Plain_Service &operator=(const Plain_Service &) = delete;
    ~Plain_Service();

    // What every reading gives from now on; before that it is an event without a record.
    void give(const qz_orb_event_metadata_t &event);
    int events_given() const;
    int events_released() const;
    // The categories of the events after which interfaces were asked for.
    std::vector<int> interfaces_asked_after() const;
};

} // namespace hb_test

#endif
