// SPDX-License-Identifier: Apache-2.0
// Serves the cluster to clients: answers requests and sends subscribed events.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cluster/cluster.h"
#include "cluster/routes.h"
#include "daemon/publisher/client_handlers.h"
#include "daemon/publisher/client_log.h"
#include "daemon/publisher/turn.h"
#include "daemon/publisher/user_quotas.h"

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

class Publisher {
  public:
    // Takes ownership of the listening descriptor. `cluster`, `routes` and `log` must outlive the publisher.
    Publisher(asio::io_context &context, int listening, const Cluster &cluster, const Routes &routes,
              const Publisher_Limits &limits, Client_Log &log, Client_Handlers handlers);
    Publisher(const Publisher &) = delete;
    Publisher &operator=(const Publisher &) = delete;
    ~Publisher();

    // Announces the changes of an operation to all clients. `failure_id` is sent with the deaths.
    void announce(const Changes &changes, const std::string &failure_id);
    void set_limits(const Publisher_Limits &limits);
    // Clients receive what was announced in a turn at its end. Outside a turn they receive it at once.
    Turn &turn();

    std::vector<Client_Status> clients() const;
    std::size_t client_count() const;
    // Returns the resources held by each user with a connection.
    const std::map<uid_t, User_Holding> &users() const;

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace wispd
