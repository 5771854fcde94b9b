// SPDX-License-Identifier: Apache-2.0
// Many members die at once: what wispd's model, log and publisher do for a hundred clients, beside writing the
// same bytes to as many bare sockets. Everything runs in this thread, and the clients read while the clock stands.
#include <fcntl.h>
#include <memory>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include <asio/io_context.hpp>

#include "bench/bare_server.h"
#include "bench/comparison/clocks.h"
#include "bench/rows.h"
#include "bench/sample_cluster.h"
#include "daemon/change_log.h"
#include "daemon/publisher/publisher.h"
#include "host/log.h"
#include "host/socket_file.h"
#include "lib/wire/hb_wire.h"
#include "tests/support/records.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unique_fd.h"

namespace {

using namespace comparison;
using hb_test::Bytes;
using hb_test::Unique_Fd;

constexpr int NETWORKS = 2;
constexpr int CLIENTS = 100;
constexpr std::size_t QUEUE_BYTES = 1 << 24;

// Nodes are numbered from 0; node 0 is the local one.
wispd::Configuration two_networks(int nodes) {
    wispd::Configuration configuration;
    configuration.max_nodes = nodes;
    configuration.adapters_per_node = NETWORKS;
    configuration.is_from_engine = true;
    for (Hb_Network_Number network = 0; network < NETWORKS; ++network) {
        configuration.networks.push_back({network, "link" + std::to_string(network), "ether"});
    }
    for (int number = 0; number < nodes; ++number) {
        wispd::Configured_Node node;
        node.number = static_cast<Hb_Node_Number>(number);
        node.name = "node" + std::to_string(number);
        for (int network = 0; network < NETWORKS; ++network) {
            const int adapter = number * SAMPLE_ADAPTERS_PER_NODE + network;
            node.adapters.push_back({static_cast<Hb_Network_Number>(network),
                                     sample_address(static_cast<Hb_Adapter_Number>(adapter)), "eth", true,
                                     true});
        }
        configuration.nodes.push_back(node);
    }
    return configuration;
}

// A cluster without the adapters that `is_dead` selects.
template <typename Is_Dead> wispd::Liveness up_without(int nodes, Is_Dead is_dead) {
    wispd::Liveness liveness;
    for (int node = 0; node < nodes; ++node) {
        bool has_adapter = false;
        for (int network = 0; network < NETWORKS; ++network) {
            if (!is_dead(node, network)) {
                liveness.adapters.insert(liveness.adapters.end(), node * NETWORKS + network);
                has_adapter = true;
            }
        }
        if (has_adapter) {
            liveness.nodes.insert(liveness.nodes.end(), node);
        }
    }
    return liveness;
}

wispd::Liveness all_up(int nodes) {
    return up_without(nodes, [](int, int) { return false; });
}

wispd::Liveness without_network(int dead) {
    return up_without(SAMPLE_NODES, [dead](int, int network) { return network == dead; });
}

// Without nodes 1 to `count`.
wispd::Liveness without_nodes(int count) {
    return up_without(SAMPLE_NODES, [count](int node, int) { return node >= 1 && node <= count; });
}

// Everything that has arrived.
Bytes read_available(int fd) {
    Bytes bytes;
    static std::vector<unsigned char> buffer(1 << 18);
    for (ssize_t count = 0; (count = recv(fd, buffer.data(), buffer.size(), MSG_DONTWAIT)) > 0;) {
        bytes.insert(bytes.end(), buffer.begin(), buffer.begin() + count);
    }
    return bytes;
}

// wispd's model and publisher with clients that subscribe to everything.
class Publishing {
  public:
    Publishing(int nodes, int clients)
        : cluster_(two_networks(nodes)), socket_(directory_.file("s"), {}), up_(all_up(nodes)) {
        wispd::log_to_file(directory_.file("log"));
        socket_.listen();
        wispd::Client_Handlers handlers;
        handlers.may_act = [](const wispd::Peer &) { return true; };
        publisher_ = std::make_unique<wispd::Publisher>(context_, socket_.release(), cluster_, routes_,
                                                        wispd::Publisher_Limits{QUEUE_BYTES, {}}, client_log_,
                                                        std::move(handlers));
        for (int client = 0; client < clients; ++client) {
            clients_.emplace_back(connect_plainly(directory_.file("s")));
            for (const int type : {Hb_All_Nodes_Subscription, Hb_All_Adapters_Subscription}) {
                const Bytes record = subscription(type);
                write_all(clients_.back().get(), record.data(), record.size());
            }
            context_.poll();
        }
        context_.poll();
        read_all_clients();
    }

    // Returns the time of the death. Then everything comes up again, outside the clock.
    double seconds_of(const wispd::Liveness &death) {
        const double begin = processor_seconds();
        announce(death);
        const double seconds = processor_seconds() - begin;
        bytes_ = read_all_clients();
        if (bytes_.empty()) {
            throw std::runtime_error("the clients received no death");
        }
        announce(up_);
        read_all_clients();
        return seconds;
    }

    // What each client received of the last death.
    const Bytes &bytes() const { return bytes_; }

  private:
    static Bytes subscription(int type) {
        constexpr int deaths_and_joins = 3;
        Bytes body;
        body.i32(type).i32(0).i32(deaths_and_joins).text("bench" + std::to_string(type), 32);
        body.zeros(12348 - body.size());
        return hb_test::frame(hb_test::request(HB_SUBSCRIBE, getpid(), body));
    }

    void announce(const wispd::Liveness &liveness) {
        const wispd::Changes changes = cluster_.set_liveness(liveness);
        const std::string failure_id = "bench";
        log_changes(changes, failure_id, cluster_);
        publisher_->announce(changes, failure_id);
        context_.poll();
    }

    // Returns what the first client received. All must have received as much.
    Bytes read_all_clients() {
        const Bytes first = read_available(clients_.front().get());
        for (auto client = clients_.begin() + 1; client != clients_.end(); ++client) {
            if (read_available(client->get()).size() != first.size()) {
                throw std::runtime_error("the clients received different numbers of bytes");
            }
        }
        return first;
    }

    const hb_test::Temp_Dir directory_;
    asio::io_context context_;
    wispd::Cluster cluster_;
    wispd::Routes routes_;
    wispd::Socket_File socket_;
    wispd::Client_Log client_log_;
    std::unique_ptr<wispd::Publisher> publisher_;
    std::vector<Unique_Fd> clients_;
    const wispd::Liveness up_;
    Bytes bytes_;
};

class Bare_Writing {
  public:
    explicit Bare_Writing(int clients) {
        for (int client = 0; client < clients; ++client) {
            clients_.emplace_back(connect_plainly(listener_.path()));
            ends_.emplace_back(listener_.accept_one());
        }
    }

    double seconds_of(const Bytes &bytes) {
        const double begin = processor_seconds();
        for (const Unique_Fd &end : ends_) {
            write_all(end.get(), bytes.data(), bytes.size());
        }
        const double seconds = processor_seconds() - begin;
        for (const Unique_Fd &client : clients_) {
            if (read_available(client.get()).size() != bytes.size()) {
                throw std::runtime_error("a bare client received something else");
            }
        }
        return seconds;
    }

  private:
    const Listener listener_;
    std::vector<Unique_Fd> clients_;
    std::vector<Unique_Fd> ends_;
};

Row death_row(const char *work, const wispd::Liveness &death) {
    Row row;
    row.work = work;
    row.beside = "writing the same bytes to 100 bare sockets";
    row.why = "each client must receive every byte";
    row.ratio = Ratio::cost;
    row.target = 2;
    row.is_quick = true;
    row.prepare = [death] {
        const auto publishing = std::make_shared<Publishing>(SAMPLE_NODES, CLIENTS);
        publishing->seconds_of(death);
        return Sides{[publishing, death] { return publishing->seconds_of(death); },
                     [bare = std::make_shared<Bare_Writing>(CLIENTS), bytes = publishing->bytes()] {
                         return bare->seconds_of(bytes);
                     }};
    };
    return row;
}

} // namespace

std::vector<Row> mass_death_rows() {
    return {death_row("death of a network with 2,049 adapters, for 100 clients", without_network(1)),
            death_row("death of 1,000 nodes at once, for 100 clients", without_nodes(1000))};
}

std::vector<Growth> mass_death_growth() {
    return {{"change", "32 nodes that die", Cost::processor_time, [](int size) {
                 const int nodes = 32 * size;
                 const auto publishing = std::make_shared<Publishing>(nodes + 1, 1);
                 return [publishing, death = all_up(1)] { return publishing->seconds_of(death); };
             }}};
}
