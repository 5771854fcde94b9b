// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/endpoints.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>

#include "host/start_failure.h"
#include "host/text.h"

namespace wispd {

std::string summary(const Multicast &multicast, const Delivery &delivery) {
    std::string line = text(multicast.payload.size(), " bytes to port ", multicast.port);
    for (const std::string &part :
         {list_of("delivered to nodes", delivery.delivered), list_of("no route to nodes", delivery.no_route),
          list_of("no endpoint for nodes", delivery.no_endpoint)}) {
        line += part.empty() ? "" : "; " + part;
    }
    return line;
}

Endpoints::Endpoints(const std::vector<Endpoint> &endpoints)
    : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    if (socket_.get() < 0) {
        throw Start_Failure(text("cannot create the multicast socket: ", std::strerror(errno)));
    }
    set(endpoints);
}

void Endpoints::set(const std::vector<Endpoint> &endpoints) {
    paths_.clear();
    for (const Endpoint &endpoint : endpoints) {
        paths_[{endpoint.node, endpoint.port}] = endpoint.path;
    }
}

Delivery Endpoints::deliver(const Multicast &multicast, const Routes &routes) const {
    Delivery delivery;
    for (int node : multicast.nodes) {
        if (node < 0 || static_cast<std::size_t>(node) >= routes.size() ||
            routes[static_cast<std::size_t>(node)].length == 0) {
            delivery.no_route.push_back(node);
            continue;
        }
        const auto path = paths_.find({node, multicast.port});
        if (path == paths_.end()) {
            delivery.no_endpoint.push_back(node);
            continue;
        }
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path->second.copy(address.sun_path, sizeof address.sun_path - 1);
        const ssize_t sent = sendto(socket_.get(), multicast.payload.data(), multicast.payload.size(),
                                    MSG_NOSIGNAL, reinterpret_cast<const sockaddr *>(&address), sizeof address);
        if (sent < 0) {
            delivery.failed.emplace_back(node, text(path->second, ": ", std::strerror(errno)));
        } else {
            delivery.delivered.push_back(node);
        }
    }
    return delivery;
}

} // namespace wispd
