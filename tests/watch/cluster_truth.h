// SPDX-License-Identifier: Apache-2.0
// The cluster as the test changes it. It knows what the test did, and nothing of daemons, records or watches.
//
// Node N has the adapters 48 N and 48 N + 1. A node is up while one of its adapters is. Node 1 is the local node.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/watch/replay.h"

namespace hb_test {

class Cluster_Truth {
  public:
    // All nodes of the file are up.
    explicit Cluster_Truth(const std::set<unsigned> &nodes_of_file);

    // The file's text: for wispd and for the simulated service.
    std::string file() const;

    // What the test does. Each counts the changes that it causes.
    void node_down(unsigned node);
    void node_up(unsigned node);
    void node_leave(unsigned node);
    void node_join(unsigned node);
    void adapter_down(unsigned adapter);
    void adapter_up(unsigned adapter);
    void adapter_leave(unsigned adapter);
    void adapter_join(unsigned adapter);
    void set_file(const std::set<unsigned> &nodes) { file_ = nodes; }
    void reload();  // members that stay keep their state
    void restart(); // everything is as in the file

    Who who() const;
    std::set<unsigned> nodes() const;    // configured
    std::set<unsigned> adapters() const; // configured
    const std::set<unsigned> &nodes_of_file() const { return file_; }

    // How often each node and adapter has joined or died since the last call of forget_changes.
    const Replay::Changes &changes() const { return changes_; }
    void forget_changes() { changes_.clear(); }
    // Another account becomes the truth: what differs is a change.
    void become(const Cluster_Truth &other);

    static constexpr unsigned SLOTS = 48;

  private:
    using Adapters = std::map<unsigned, bool>; // which are up
    void change_to(const Adapters &adapters);
    void set(unsigned adapter, bool up);

    std::set<unsigned> file_;
    Adapters adapters_;
    Replay::Changes changes_;
};

std::set<unsigned> adapters_of_node(unsigned node);

} // namespace hb_test
