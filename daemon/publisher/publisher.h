// Serves the cluster to clients: answers their requests and tells them what they subscribed to.
#ifndef WISPD_PUBLISHER_H
#define WISPD_PUBLISHER_H

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cluster/cluster.h"
#include "cluster/node_control.h"
#include "cluster/node_request.h"
#include "cluster/routes.h"
#include "daemon/publisher/client_log.h"
#include "daemon/publisher/endpoints.h"
#include "daemon/publisher/node_requests.h"
#include "daemon/publisher/user_quotas.h"
#include "host/peer.h"

namespace asio {
class io_context;
}

namespace wispd {

struct Publisher_Limits {
    std::size_t client_queue_bytes;
    User_Limits user;
};

struct Client_Status {
    int id;
    long pid;
    long uid;
    uint32_t last_sequence;
    std::size_t queued_bytes;
    bool may_act;
    std::optional<uint32_t> heartbeat;
    struct Held {
        std::string name;
        int type;
        int events;
    };
    std::vector<Held> subscriptions;
};

// What the daemon does for clients that the publisher itself cannot.
struct Client_Handlers {
    std::function<bool(const Peer &)> may_act;
    // Changes the model. What that changed is told when the answer has gone out: a client that awaits an
    // answer takes whatever comes first for it.
    std::function<Outcome(const Node_Request &)> act;
    std::function<void(const Changes &)> changed;
    std::function<Delivery(const Multicast &)> deliver;
};

class Publisher {
  public:
    // Takes over the listening descriptor. `cluster`, `routes` and `log` must outlive the publisher.
    Publisher(asio::io_context &context, int listening, const Cluster &cluster, const Routes &routes,
              const Publisher_Limits &limits, Client_Log &log, Client_Handlers handlers);
    Publisher(const Publisher &) = delete;
    Publisher &operator=(const Publisher &) = delete;
    ~Publisher();

    // Tells what an operation on the cluster changed. `failure_id` goes with the deaths.
    void announce(const Changes &changes, const std::string &failure_id);
    void set_limits(const Publisher_Limits &limits);

    std::vector<Client_Status> clients() const;
    // What each user holds that has a connection.
    const std::map<uid_t, User_Holding> &users() const;

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace wispd

#endif
