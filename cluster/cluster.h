// SPDX-License-Identifier: Apache-2.0
// The current state of the cluster: which nodes and adapters are configured and up, and their incarnations.
//
// Each operation changes the model and returns what clients must be notified of. The same rules apply to
// commands, timelines, client requests and engines. No operation does any I/O, so a test needs neither socket
// nor clock.
//
//  - An adapter is up or down. Each time it comes up, its incarnation grows by one.
//  - A node is configured while one of its adapters is configured, and up while one of its adapters is up. The
//    local node is always up, because the daemon runs on it.
//  - Where an engine reports the members, it alone decides which nodes are up. Adapters of non-members are
//    down.
//  - Up and down describe liveness. Join and leave describe the configuration.
//  - An adapter that carries IP is up only while it has an address.
//  - An adapter is held down while it is disabled, its interface is down, or the engine reports it down. It
//    comes up when none of these applies any more, or when a command brings it up.
#pragma once

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <boost/container/flat_set.hpp>

#include "cluster/changes.h"
#include "cluster/configuration.h"

namespace wispd {

// The error for an operation that does not apply to the current state of the cluster; nothing was changed.
class Refused : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct Network {
    std::string name; // empty: not configured
    std::string type;
};

struct Adapter {
    bool known = false; // the file or a join described it
    bool configured = false;
    bool up = false;
    bool starts_up = true; // the state in its latest description
    bool carries_ip = true;
    bool disabled = false;
    bool interface_down = false;
    bool down_by_engine = false;
    Hb_Incarnation incarnation = 0;
    Hb_IP_address6 address{};
    std::string type;
};

struct Node {
    std::string name;
    std::optional<bool> member; // set where an engine reports the members; otherwise adapters decide
    int configured_adapters = 0;
    int up_adapters = 0;
    bool up = false;
};

// The liveness of the whole cluster, from a source that knows all of it. The largest cluster has 98,352 adapters, so
// the sets are kept in one piece of memory each; they are filled in ascending order.
struct Liveness {
    using Nodes = boost::container::flat_set<int>;
    using Adapters = boost::container::flat_set<int64_t>;

    Nodes nodes;
    Adapters adapters; // adapters of nodes not in `nodes` are ignored
    // Nodes and adapters that failed and recovered since the last report: each dies and joins.
    Nodes nodes_back;
    Adapters adapters_back;
    // By node: adapters that come up in this step get at least this incarnation.
    std::map<int, Hb_Incarnation> incarnations{};
};

class Cluster {
  public:
    explicit Cluster(const Configuration &configuration);

    Changes node_up(int node);
    Changes node_down(int node);
    Changes node_join(int node);
    Changes node_leave(int node);
    Changes adapter_up(int64_t adapter);
    Changes adapter_down(int64_t adapter);
    // The address is optional only for an adapter that is known already.
    Changes adapter_join(int64_t adapter, const std::optional<Hb_IP_address6> &address,
                         const std::optional<std::string> &type);
    Changes adapter_leave(int64_t adapter);

    // The next four change nothing when the adapter is already in the requested state.
    Changes adapter_enable(int64_t adapter);
    Changes adapter_disable(int64_t adapter);
    Changes interface_up(int64_t adapter);
    Changes interface_down(int64_t adapter);
    // Sets the address; the adapter then comes up unless it is held down. clear_address removes the address,
    // and the adapter goes down.
    Changes set_address(int64_t adapter, const Hb_IP_address6 &address);
    Changes clear_address(int64_t adapter);
    Changes swap_addresses(int64_t adapter, int64_t other);
    // Reports a death and a join of every local adapter that is up, as after a long sleep of the daemon.
    Changes sleep_and_wake();

    // Applies the members reported by an engine; from then on, adapters no longer decide a node's state.
    // Ignores nodes that are not configured, and always includes the local node.
    Changes set_liveness(const Liveness &liveness);
    // Applies a new configuration, if one is given, then the liveness. Returns the changes of both together.
    Changes follow(const std::optional<Configuration> &next, const Liveness &liveness);

    // Installs a whole configuration. Members that stay keep their liveness, unless their configured state
    // differs from the previous configuration.
    Changes reconfigure(const Configuration &next);

    Changes set_heartbeat(const Heartbeat &settings);
    Changes report_failure(const std::string &identifier) const;
    Changes report_foreign_instance(const Foreign_Instance &foreign) const;

    const std::string &name() const { return name_; }
    Hb_Node_Number local_node() const { return local_node_; }
    int max_nodes() const { return static_cast<int>(nodes_.size()); }
    int adapters_per_node() const { return adapters_per_node_; }
    Hb_Config_Instance instance() const { return instance_; }
    const std::optional<Heartbeat> &heartbeat() const { return heartbeat_; }
    // Returns the generation of the configuration: starts at 1, never 0.
    Hb_Sequence_Number configuration_sequence() const { return configuration_sequence_; }
    // Returns the generation of the adapter membership.
    Hb_Incarnation group_incarnation() const { return group_incarnation_; }
    int configured_adapters() const { return configured_adapters_; }

    const std::vector<Network> &networks() const { return networks_; } // 0 to the highest configured
    const std::vector<Node> &nodes() const { return nodes_; }          // by node number
    const std::vector<Adapter> &adapters() const { return adapters_; } // by adapter number

    // Returns whether an engine decides liveness and configuration; commands that contradict it are rejected.
    bool is_from_engine() const { return is_from_engine_; }

    // Returns the local node's adapter in that network; empty when no adapter is configured there.
    std::optional<std::size_t> local_adapter(int network) const;
    bool is_local(std::size_t adapter) const { return place_of(adapter).node == local_node_; }
    // Returns the configured adapter that has the address.
    std::optional<std::size_t> owner_of(const Hb_IP_address6 &address) const;

    std::vector<Adapter_Member> adapters_up() const;
    std::vector<Hb_Node_Number> nodes_up() const;

  private:
    struct Numbering {
        int node;
        int slot;
    };

    // A node's adapter numbers, for a loop. clang 14 cannot compile libstdc++'s range of numbers.
    class Slots {
      public:
        class Iterator {
          public:
            explicit Iterator(std::size_t adapter) : adapter_(adapter) {}
            std::size_t operator*() const { return adapter_; }
            Iterator &operator++() {
                ++adapter_;
                return *this;
            }
            bool operator==(const Iterator &) const = default;

          private:
            std::size_t adapter_;
        };

        Slots(std::size_t first, std::size_t end) : first_(first), end_(end) {}
        Iterator begin() const { return Iterator(first_); }
        Iterator end() const { return Iterator(end_); }

      private:
        std::size_t first_;
        std::size_t end_;
    };

    void load(const Configuration &configuration);
    Numbering place_of(std::size_t adapter) const;
    // Returns all adapter numbers of the node, whether or not they are in use.
    Slots slots_of(std::size_t node) const;
    std::size_t check_node(int node) const;
    std::size_t check_configured_node(int node) const;
    std::size_t check_adapter(int64_t adapter) const;
    std::size_t check_configured_adapter(int64_t adapter) const;
    void check_not_from_engine() const;
    void check_address_free(const Hb_IP_address6 &address, std::size_t adapter) const;

    Changes hold_down(int64_t adapter, bool Adapter::*hold);
    Changes let_up(int64_t adapter, bool Adapter::*hold);

    struct Before; // the cluster before reconfigure() replaced the configuration
    bool survives(std::size_t adapter, const Before &before) const;
    void carry_over(std::size_t adapter, const Before &before, Changes &changes);
    bool is_newly_up(std::size_t adapter, const Before &before) const;
    void settle_nodes(const Before &before, Changes &changes);

    void bring_up(std::size_t adapter, Changes &changes);
    void take_down(std::size_t adapter, Hb_Incarnation flag, Changes &changes);
    void add(std::size_t adapter);
    void remove(std::size_t adapter, Changes &changes);
    void settle_node(std::size_t node, Changes &changes);
    void set_adapter_liveness(std::size_t adapter, bool up, bool back, Hb_Incarnation lowest, Changes &changes);
    void update_configuration(Changes &changes);
    Changes begin() const;
    void finish(const Changes &changes);

    std::string name_;
    Hb_Node_Number local_node_ = 0;
    int adapters_per_node_ = 0;
    Hb_Config_Instance instance_ = 0;
    std::optional<Heartbeat> heartbeat_;
    bool is_from_engine_ = false;
    Hb_Sequence_Number configuration_sequence_ = 1;
    Hb_Incarnation group_incarnation_ = 1;
    int configured_adapters_ = 0;
    std::vector<Network> networks_;
    std::vector<Node> nodes_;
    std::vector<Adapter> adapters_;
};

// Returns whether the adapter is configured and has the address that it needs.
bool can_be_up(const Adapter &adapter);

// Returns whether a client or the engine keeps the adapter from coming up.
bool is_held_down(const Adapter &adapter);

// Returns the next incarnation: never 0, never all bits set, and never with the removal flag.
Hb_Incarnation next_incarnation(Hb_Incarnation incarnation);

} // namespace wispd
