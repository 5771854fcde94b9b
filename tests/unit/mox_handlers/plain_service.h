// A service that allocates nothing and whose events have no record.
#ifndef HB_TEST_MOX_HANDLERS_PLAIN_SERVICE_H
#define HB_TEST_MOX_HANDLERS_PLAIN_SERVICE_H

namespace hb_test {

// Installed for as long as it lives; one at a time.
class Plain_Service {
  public:
    // A null name: the service does not know it.
    explicit Plain_Service(const char *cluster_name);
    Plain_Service(const Plain_Service &) = delete;
    Plain_Service &operator=(const Plain_Service &) = delete;
    ~Plain_Service();

    int events_given() const;
    int events_released() const;
};

} // namespace hb_test

#endif
