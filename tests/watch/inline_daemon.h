// SPDX-License-Identifier: Apache-2.0
// A daemon without a thread: it acts only while the test calls turn(). So a test decides the order of every step, and
// one thread serves hundreds of watches.
//
// It plays a small cluster, and answers requests as wispd does. A plan limits what each connection carries.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <poll.h>
#include <set>
#include <string>
#include <vector>

#include "tests/support/bytes.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unique_fd.h"
#include "tests/watch/replay.h"

namespace hb_test {

// The cluster that the daemon plays. A node is up while one of its adapters is.
struct Played_Cluster {
    unsigned local_node = 0;
    unsigned max_nodes = 4;
    unsigned adapters_per_node = 2;
    std::map<unsigned, bool> adapters{{0, true}, {1, true}, {2, true}, {3, true}, {4, true}}; // which are up
    std::map<unsigned, unsigned> incarnations;

    Who who() const;
    std::set<unsigned> nodes() const; // that are configured
    Bytes configuration() const;      // the message's body
    // A record of the kind about these members.
    Bytes record(int kind, const std::set<unsigned> &members, int64_t sequence, const std::string &subscription,
                 bool removed = false) const;
};

// What a connection carries from the daemon.
struct Link_Plan {
    enum class At_End { cut, stall };
    bool limited = false;
    std::size_t bytes = 0; // before the end, if it is limited
    At_End at_end = At_End::cut;
    bool one_at_a_time = false; // one byte for each turn
    Bytes instead;              // sent in place of the first reply, if not empty
};

class Inline_Daemon {
  public:
    // The plans are those of the first connection, the second and so on. Later connections are not limited.
    explicit Inline_Daemon(std::vector<Link_Plan> plans = {});

    // Accepts, reads, answers and writes, as far as that is possible now.
    void turn();
    // Adds the descriptors to wait on.
    void wait_on(std::vector<pollfd> &descriptors) const;

    const std::string &path() const { return path_; }
    const Played_Cluster &cluster() const { return cluster_; }
    std::size_t connections() const { return connections_made_; }
    // The bytes that the first connection carried.
    std::size_t first_sent() const { return first_sent_; }
    // Whether the first connection has all that both subscriptions begin with, or can carry nothing more.
    bool first_is_served_or_over() const { return first_served_ || first_over_; }

    // Each of these changes the cluster, and notifies the subscribed connections as wispd does.
    void kill_adapters(const std::set<unsigned> &adapters);
    void revive_adapters(const std::set<unsigned> &adapters);
    // Removes the ones and adds the others, which are up.
    void configure(const std::set<unsigned> &removed, const std::set<unsigned> &added);

    // Closes the first connection, if it is still open.
    void hang_up();
    // Ends the limits of every connection.
    void go_on();
    // Sends bytes on every connection, in place of a record.
    void send_everywhere(const Bytes &bytes);

  private:
    struct Connection {
        Unique_Fd socket;
        Link_Plan plan;
        bool first = false;
        Bytes received;
        Bytes waiting; // to be sent
        std::size_t sent = 0;
        bool over = false;
        std::string nodes_name; // of the subscriptions; empty: none
        std::string adapters_name;
        int64_t sequence = 0;
        unsigned configured = 0; // the generation that was sent last
    };

    void accept_all();
    bool serve(Connection &connection);
    bool read_requests(Connection &connection);
    void answer(Connection &connection, const Bytes &request);
    void subscribe(Connection &connection, const Bytes &request);
    void write_some(Connection &connection);
    void send(Connection &connection, const Bytes &record);
    void notify_members(int kind, const std::set<unsigned> &members, bool of_nodes, bool removed = false);
    void notify_configuration();
    void notify_deaths(const Who &before, bool removed);
    void notify_joins(const Who &before);

    Temp_Dir directory_;
    std::string path_ = directory_.file("s");
    Unique_Fd listener_;
    std::deque<Link_Plan> plans_;
    std::deque<Connection> connections_;
    Played_Cluster cluster_;
    unsigned generation_ = 1;
    std::size_t connections_made_ = 0;
    std::size_t first_sent_ = 0;
    bool first_served_ = false;
    bool first_over_ = false;
};

} // namespace hb_test
