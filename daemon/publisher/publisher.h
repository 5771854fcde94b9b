// Serves the cluster to clients: answers their requests and tells them what they subscribed to.
#ifndef WISPD_PUBLISHER_H
#define WISPD_PUBLISHER_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "daemon/model/cluster.h"

namespace asio {
class io_context;
}

namespace wispd {

struct Client_Status {
    int id;
    long pid;
    long uid;
    uint32_t last_sequence;
    std::size_t queued_bytes;
    struct Held {
        std::string name;
        int type;
        int events;
    };
    std::vector<Held> subscriptions;
};

class Publisher {
  public:
    // Takes over the listening descriptor. `cluster` must outlive the publisher.
    Publisher(asio::io_context &context, int listening, const Cluster &cluster, std::size_t client_queue_bytes);
    Publisher(const Publisher &) = delete;
    Publisher &operator=(const Publisher &) = delete;
    ~Publisher();

    // Tells what an operation on the cluster changed. `failure_id` goes with the deaths.
    void announce(const Changes &changes, const std::string &failure_id);
    void set_client_queue_bytes(std::size_t bytes);

    std::vector<Client_Status> clients() const;

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace wispd

#endif
