// SPDX-License-Identifier: Apache-2.0
// What is known of the cluster at one moment, as plain data that threads share.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/cluster_file.h"

namespace exporter {

enum class State : std::uint8_t { unknown, up, down };

struct Network {
    int number = 0;
    std::string name;
    std::string type;
};

struct Adapter {
    std::uint32_t number = 0;
    int node = -1;
    int network = -1; // -1: its network has no name
    std::string type;
    std::string address;
};

// The configuration. It changes rarely, so snapshots share it.
struct Cluster {
    int local_node = -1;    // the node of wispd; -1: not known
    std::vector<int> nodes; // ascending
    std::vector<Network> networks;
    std::vector<Adapter> adapters; // ascending
};

// The kinds of events, in the order in which they are shown.
enum class Event_Kind {
    death,
    join,
    new_group,
    ffdc,
    site_split,
    site_merge,
    configuration,
    different_instance,
    heartbeat,
    other
};
inline constexpr std::size_t EVENT_KINDS = 10;

// The word for a kind of events, as hbctl watch prints it.
std::string event_word(Event_Kind kind);

using Steady_Time = std::chrono::steady_clock::time_point;
using Wall_Time = std::chrono::system_clock::time_point;

// One line of the list of the last events.
struct Past_Event {
    std::uint64_t number = 0; // grows by one with each line
    Wall_Time time;
    // The word of its kind. Those of the exporter itself: connected, disconnected, no-answer, answers-again.
    std::string event;
    std::string what;    // for instance: node gamma
    std::string failure; // the failure identifier; empty: none
};
inline constexpr std::size_t HISTORY_LONGEST = 50;

struct Snapshot {
    std::shared_ptr<const Cluster> cluster = std::make_shared<const Cluster>();
    std::vector<State> nodes;    // of each node of the cluster
    std::vector<State> adapters; // of each adapter of the cluster
    bool connected = false;
    bool nodes_reported = false; // on this connection
    bool adapters_reported = false;
    std::optional<Steady_Time> last_contact;                // when wispd last sent something
    std::shared_ptr<const common::Cluster_File> about;      // null: there is no such file beside wispd's socket
    std::vector<std::shared_ptr<const Past_Event>> history; // the newest is last
    std::optional<Wall_Time> last_event;
    std::optional<Steady_Time> last_event_mark; // the same moment
    std::array<std::uint64_t, EVENT_KINDS> events{};
    std::uint64_t malformed_events = 0;
    std::uint64_t reconnects = 0;
    std::uint64_t sequence_gaps = 0;
    std::uint64_t changes = 0; // grows with every difference except a later last_contact
};

// Returns whether the states are those of a daemon that answers: it reported them on this connection, and sent
// something within the given time.
bool is_up(const Snapshot &snapshot, Steady_Time now, std::chrono::milliseconds stale);

// Uses another configuration. Nodes and adapters keep their states; new ones are down until they join.
void set_cluster(Snapshot &snapshot, std::shared_ptr<const Cluster> cluster);

// Set the state of the listed members; numbers that are not configured are ignored.
void set_nodes(Snapshot &snapshot, const std::vector<int> &members, State state);
void set_adapters(Snapshot &snapshot, const std::vector<std::uint32_t> &members, State state);

// Appends a line and drops the oldest one of a full list.
void remember(Snapshot &snapshot, Past_Event event);

// Return names for people. They are empty where the node's name is not known.
std::string node_name(const Snapshot &snapshot, int node);
std::string adapter_name(const Snapshot &snapshot, const Adapter &adapter); // NODE/NETWORK

// Returns the configured adapter, or null.
const Adapter *find_adapter(const Cluster &cluster, std::uint32_t number);

// Finds missing events: their numbers grow by one on each connection.
class Sequence_Check {
  public:
    void start_connection() { last_ = 0; }
    // Returns false if events are missing before this one.
    bool follows(std::uint32_t number);

  private:
    std::uint32_t last_ = 0;
};

} // namespace exporter
