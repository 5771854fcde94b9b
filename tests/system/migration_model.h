// SPDX-License-Identifier: Apache-2.0
// Computes, event by event, what a client that leaves the daemon for the cluster service must receive.
//
// The model knows what each side has sent and what the client has read. Nodes that die and return as a whole
// must be other nodes than those with adapters that die and return alone. The service reports the two on
// different descriptors. For a node that appears on both, the result would depend on which one is read first.
#pragma once

#include <cstddef>
#include <deque>
#include <iosfwd>
#include <set>
#include <string>
#include <vector>

namespace hb_test {

// The nodes and adapters that are up. A node N has the adapters N x 48 and N x 48 + 1.
struct Who_Is_Up {
    std::set<unsigned> nodes;
    std::set<unsigned> adapters;

    bool operator==(const Who_Is_Up &) const = default;
};
void PrintTo(const Who_Is_Up &who, std::ostream *out);

inline constexpr unsigned SLOTS = 48;
std::set<unsigned> adapters_of(unsigned node);

// One node or one adapter dies or comes up.
struct Change {
    enum class Of { node, adapter };
    Of of;
    unsigned number;
    bool up;

    std::string command() const;
    void make_in(Who_Is_Up &who) const;
};

class Migration_Model {
  public:
    explicit Migration_Model(const Who_Is_Up &start) : table_(start), service_(start) {}

    void daemon_tells(const Change &change);
    void service_tells(const Change &change);
    void prepare() { watching_ = true; }
    void give_up();
    void commit();

    // Events that wait for the client in a known order: the daemon's, then those of the commit.
    std::size_t waiting() const { return waiting_.size(); }
    // Events on the service's descriptors that the client has not read.
    std::size_t records_waiting() const { return node_records_.size() + adapter_records_.size(); }
    // The client reads that many of the waiting events.
    std::vector<std::string> read(std::size_t count);

    // After the commit the client reads everything, while nothing happens. After the waiting events it reads
    // those of two descriptors; each descriptor has an order.
    struct Rest {
        std::vector<std::string> of_nodes;
        std::vector<std::string> of_adapters;
    };
    Rest read_rest();

    // The client's view of the cluster.
    const Who_Is_Up &table() const { return table_; }

  private:
    struct Waiting {
        std::string event;
        std::set<unsigned> nodes;
        std::set<unsigned> adapters;
        bool up = false;
        bool brings_table = false;
    };

    void report_difference(bool up, const Who_Is_Up &one, const Who_Is_Up &other);
    void node_died(unsigned node, std::vector<std::string> &events);
    void node_came_up(unsigned node, std::vector<std::string> &events);

    Who_Is_Up table_;
    Who_Is_Up service_;
    Who_Is_Up working_table_;
    bool watching_ = false;
    std::deque<Waiting> waiting_;
    std::vector<Change> node_records_;
    std::vector<Change> adapter_records_;
};

// The same from the client's side, computed only from the events that it received.
class Client_View {
  public:
    // One event, as the model writes it.
    void take(const std::string &event);
    const Who_Is_Up &who() const { return who_; }

  private:
    void change(std::set<unsigned> &members, unsigned member, bool up);

    Who_Is_Up who_;
};

// Converts a line of the client program to the model's form: "death a 96 97", "join n 2", "configuration".
// Returns an empty text for an event without content.
std::string in_short(const std::string &line);

} // namespace hb_test
