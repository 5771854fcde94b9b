// SPDX-License-Identifier: Apache-2.0
// The expected view of a client in cluster-event mode over a simulated service. It is computed independently of
// the library, with plain lists and linear searches.
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "providers/sim/simulated_service.h"
#include "tests/unit/cluster_events/cluster.h"

namespace hb_test {

enum class State { undefined, up, down };
enum class Reason { down, up, reported_down, reported_up };

struct Model_Node {
    int number = 0;
    State state = State::undefined;
    Reason reason = Reason::down;

    bool operator==(const Model_Node &) const = default;
};

struct Model_Adapter {
    unsigned number = 0;
    std::string name;
    std::string address; // 16 bytes
    State state = State::undefined;

    bool operator==(const Model_Adapter &) const = default;
};

struct Model_Table {
    std::vector<Model_Node> nodes;
    std::vector<Model_Adapter> adapters;

    bool operator==(const Model_Table &) const = default;
};
void PrintTo(const Model_Table &table, std::ostream *out);

// The source of an event, in the order of the descriptors.
enum class Source {
    adapter_liveness,
    event_pipe,
    node_liveness,
    node_list,
    peer_liveness,
    new_group,
    ip_change,
    reconfiguration,
    site
};
inline constexpr int SOURCES = 9;
// The monitor of that source; null for the two pipes.
const char *monitor_of(Source source);

class Model {
  public:
    explicit Model(const mox_sim::Simulated_Service &service) : service_(service) {}

    // Call it after the library was opened with these subscriptions.
    void open(const std::string &node_name, const std::string &adapter_name);

    // ---- Changes of the cluster ----
    void pushed(Source source, const mox_sim::Event_Record &event);
    void pushed_result(Source source, int result);
    void will_fail(mox_sim::Operation operation); // at its next call
    void message_from(int node);
    void subscribed_nodes(const std::string &name);
    void subscribed_adapters(const std::string &name);
    void unsubscribed_nodes() { node_name_.clear(); }
    void unsubscribed_adapters() { adapter_name_.clear(); }

    // ---- What the client sees ----
    bool is_ready(Source source) const;
    // The result of hb_get_event_message with these descriptors.
    Taken take(const std::vector<Source> &ready);
    // The result of a call of that handler, whatever is queued.
    Taken handle(Source source);
    std::size_t queued() const { return queue_.size(); }

    const Model_Table &table() const { return live_; }
    const std::set<int> &present() const { return present_; }

    // How often each rare case occurred in the storm.
    int markers_in_a_row = 0; // a marker while another one was queued
    int outages = 0;          // an update without an answer, which reports nothing
    int owed_comparisons = 0; // an update that repaired such an outage
    int records_alone = 0;    // a node's record without an answer, which is sufficient by itself

  private:
    struct Queued {
        enum class Kind { nodes, adapters, marker, message } kind;
        int events = 0;
        std::vector<int> nodes;
        std::vector<unsigned> adapters;
        std::optional<Model_Table> table; // of a marker: the table that becomes live with it
    };
    struct Pending {
        int result = 0;
        mox_sim::Event_Record event;
    };

    bool fails(mox_sim::Operation operation);
    std::optional<Model_Table> build(const Model_Table &current, std::optional<Source> about, int only_node);
    void queue(const Queued &event);
    void wake();
    void queue_marker(const Model_Table &table);
    void know_nodes_of(const Model_Table &table);
    Taken update(std::optional<Source> about);
    Taken nothing(unsigned long sequence = 0) const;
    Taken tell_nodes(int events, int node, unsigned long sequence) const;
    Taken tell_adapters(int events, const std::vector<unsigned> &adapters) const;

    Taken from_queue();
    Taken adapter_event(const mox_sim::Event_Record &event);
    Taken node_event(const mox_sim::Event_Record &event);
    Taken node_death(int node, unsigned long sequence, std::optional<Model_Table> next);
    Taken node_join(int node, unsigned long sequence, std::optional<Model_Table> next);
    Taken no_news(const Taken &told);
    Model_Node &note(int node);
    Taken peer_event(const mox_sim::Event_Record &event);
    Taken address_event(const mox_sim::Event_Record &event);
    Taken new_group();
    std::vector<unsigned> up_interfaces() const;
    Model_Node *find(Model_Table &table, int node);

    const mox_sim::Simulated_Service &service_;
    std::string node_name_;
    std::string adapter_name_;
    Model_Table live_;
    bool owed_ = false;
    std::set<int> present_;
    std::deque<Queued> queue_;
    int wake_ups_ = 0;
    std::deque<int> requests_;
    std::map<Source, std::deque<Pending>> pending_;
    std::set<mox_sim::Operation> failing_;
    int error_ = 0; // the error number that the current call leaves
};

} // namespace hb_test
