// SPDX-License-Identifier: Apache-2.0
// The events of a recording client, line by line, and the events that must never arrive.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace hb_test {

// Adapter numbers in a cluster that an engine reports: node x 48 + link.
inline constexpr unsigned ADAPTERS_PER_NODE = 48;
inline unsigned adapter_of(unsigned node, unsigned link) {
    return node * ADAPTERS_PER_NODE + link;
}
inline unsigned node_of_adapter(unsigned adapter) {
    return adapter / ADAPTERS_PER_NODE;
}

struct Told {
    enum class Kind { connected, lost, trouble, configuration, account, death, join, failure, other };

    double at = 0; // by the monotonic clock, in seconds
    Kind kind = Kind::other;
    unsigned long sequence = 0; // 0: not an event
    bool of_nodes = false;
    std::map<unsigned, unsigned> members; // the incarnation of each adapter, 0 of each node
    std::set<unsigned> removed;           // of the members
    std::string id;                       // of a failure
    unsigned local_node = 0;              // when connected
    std::set<unsigned> nodes;             // of a configuration
    std::map<unsigned, std::string> addresses;
    std::string line;

    bool is(Kind which, bool nodes_of_it) const { return kind == which && of_nodes == nodes_of_it; }
    bool tells_of(unsigned member) const { return members.count(member) != 0; }
};

// A line of recording_client.
Told told_by(const std::string &line);

// The members that are up by one client's events, and the errors in those events.
class Told_Table {
  public:
    // With departures, a node that left in good order dies without a failure identifier.
    explicit Told_Table(bool departures = false) : departures_(departures) {}

    void take(const Told &told);

    bool connected() const { return connected_; }
    const std::set<unsigned> &nodes() const { return nodes_; }
    std::set<unsigned> adapters() const;
    const std::map<unsigned, unsigned> &incarnations() const { return adapters_; }
    const std::set<unsigned> &configured_nodes() const { return configured_nodes_; }
    // A death of a member that was not up, a join of one that was, a gap in the sequence, and so on; each with
    // its line.
    const std::vector<std::string> &objections() const { return objections_; }

  private:
    void connect(const Told &told);
    void configure(const Told &told);
    void account(const Told &told);
    void die(const Told &told);
    void join(const Told &told);
    void check_sequence(const Told &told);
    void check_failure(const Told &told);
    void check_whole(const Told &told);
    void object(const Told &told, const std::string &what);

    bool departures_;
    bool connected_ = false;
    unsigned local_node_ = 0;
    unsigned long sequence_ = 0;
    bool has_nodes_ = false; // the first report of nodes has arrived
    bool has_adapters_ = false;
    std::set<unsigned> nodes_;
    std::map<unsigned, unsigned> adapters_;
    std::map<unsigned, unsigned> highest_; // incarnation of each adapter, on this connection
    std::set<unsigned> configured_nodes_;
    std::set<unsigned> configured_adapters_;
    std::set<unsigned> removed_; // died as removed; the configuration update must follow
    std::set<std::string> ids_;
    std::vector<std::string> objections_;
};

} // namespace hb_test
