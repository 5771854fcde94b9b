// SPDX-License-Identifier: Apache-2.0
#include "cluster/routes.h"

#include <cstring>
#include <deque>
#include <optional>

#include "cluster/address.h"

namespace wispd {

namespace {

constexpr int LINKS_MOST = HB_ROUTE_HOPS / 2;

// The last link of the way to a node.
struct Reached {
    int from = -1;
    int network = -1;
    int links = -1; // -1: not reached
};

enum class Kind { ip, any };

// With an engine, an adapter is up when this node reaches it directly, and no node forwards messages to others.
int links_most(const Cluster &cluster) {
    return cluster.is_from_engine() ? 1 : LINKS_MOST;
}

// A breadth-first search from the local node.
class Search {
  public:
    Search(const Cluster &cluster, Kind kind)
        : cluster_(cluster), kind_(kind), reached_(cluster.nodes().size()),
          searched_(static_cast<std::size_t>(cluster.adapters_per_node())) {
        reached_[static_cast<std::size_t>(cluster.local_node())].links = 0;
        for (int node = 0; node < cluster.max_nodes(); ++node) {
            if (node != cluster.local_node() && has_adapters_up(node)) {
                unreached_.push_back(node);
            }
        }
        std::deque<int> waiting{cluster.local_node()};
        while (!waiting.empty() && !unreached_.empty()) {
            const int node = waiting.front();
            waiting.pop_front();
            if (reached_[static_cast<std::size_t>(node)].links < links_most(cluster)) {
                search_from(node, waiting);
            }
        }
    }

    // Sets the route. Returns false, and changes nothing, when there is none.
    bool route_to(int node, Node_Route &route) const {
        const int links = reached_[static_cast<std::size_t>(node)].links;
        if (links < 0) {
            return false;
        }
        if (links == 0) {
            return own_adapter(route);
        }
        route.length = static_cast<uint16_t>(2 * links);
        for (int link = links; link > 0; --link) {
            const Reached &last = reached_[static_cast<std::size_t>(node)];
            put(route, 2 * link - 2, last.from, last.network);
            put(route, 2 * link - 1, node, last.network);
            node = last.from;
        }
        return true;
    }

  private:
    const Adapter &adapter(int node, int network) const {
        return cluster_.adapters()[static_cast<std::size_t>(node * cluster_.adapters_per_node() + network)];
    }

    bool is_usable(int node, int network) const {
        const Adapter &it = adapter(node, network);
        return it.up && (kind_ == Kind::any || is_address(it.address));
    }

    bool has_adapters_up(int node) const {
        return cluster_.nodes()[static_cast<std::size_t>(node)].up_adapters > 0;
    }

    // The first node on a network reaches all others on it, so each network is searched once.
    void search_from(int node, std::deque<int> &waiting) {
        for (int network = 0; network < cluster_.adapters_per_node(); ++network) {
            if (searched_[static_cast<std::size_t>(network)] || !is_usable(node, network)) {
                continue;
            }
            searched_[static_cast<std::size_t>(network)] = true;
            const int links = reached_[static_cast<std::size_t>(node)].links + 1;
            std::erase_if(unreached_, [&](int other) {
                const bool is_reached = is_usable(other, network);
                if (is_reached) {
                    reached_[static_cast<std::size_t>(other)] = {node, network, links};
                    waiting.push_back(other);
                }
                return is_reached;
            });
        }
    }

    bool own_adapter(Node_Route &route) const {
        for (int network = 0; network < cluster_.adapters_per_node(); ++network) {
            if (is_usable(cluster_.local_node(), network)) {
                route.length = 1;
                put(route, 0, cluster_.local_node(), network);
                return true;
            }
        }
        return false;
    }

    void put(Node_Route &route, int hop, int node, int network) const {
        const Hb_IP_address6 &address = adapter(node, network).address;
        route.hops.sr_address[hop] = address;
        route.is_ip = route.is_ip && is_address(address);
    }

    const Cluster &cluster_;
    Kind kind_;
    std::vector<Reached> reached_;
    std::vector<int> unreached_; // nodes with adapters up, in ascending order
    std::vector<bool> searched_;
};

} // namespace

bool Node_Route::operator==(const Node_Route &other) const {
    return length == other.length && is_ip == other.is_ip && std::memcmp(&hops, &other.hops, sizeof hops) == 0;
}

Routes compute_routes(const Cluster &cluster) {
    const Search over_ip(cluster, Kind::ip);
    std::optional<Search> over_any;
    Routes routes(cluster.nodes().size());
    for (int node = 0; node < cluster.max_nodes(); ++node) {
        Node_Route &route = routes[static_cast<std::size_t>(node)];
        if (over_ip.route_to(node, route) || cluster.nodes()[static_cast<std::size_t>(node)].up_adapters == 0) {
            continue;
        }
        if (!over_any) {
            over_any.emplace(cluster, Kind::any);
        }
        over_any->route_to(node, route);
    }
    return routes;
}

} // namespace wispd
