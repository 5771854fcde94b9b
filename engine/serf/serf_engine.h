// SPDX-License-Identifier: Apache-2.0
// Follows the Serf agents of this node, one for each network, through their ends and returns.
//
//  - Each agent is an engine of its own network: it ends, returns and is retried alone.
//  - A node is up while one of its adapters is. The local node is always up.
//  - The cluster's nodes are those of wispd's file, or the members of all networks (discover).
//  - What one call of advance() read is one step, so members that fail together die in one event. Members that left in
//    good order are a step of their own before it, because their death is not a failure.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/engine.h"
#include "engine/serf/serf_connection.h"
#include "engine/serf/serf_network.h"
#include "engine/serf/serf_numbers.h"
#include "engine/wait_point.h"

namespace wispd {

class Serf_Engine final : public Engine {
  public:
    // Throws std::system_error when no descriptors are available.
    explicit Serf_Engine(const Serf_Settings &settings);

    Engine_Name name() const override { return SERF; }
    int descriptor() const override { return wait_point_.descriptor(); }
    std::optional<Engine_Step> advance(Time now) override;
    const Engine_Status &status() const override { return status_; }
    std::chrono::milliseconds grace() const override { return settings_.grace; }
    std::chrono::milliseconds time_to_connect() const override;
    void set(const Engine_Settings &settings) override;

  private:
    // One agent and its network.
    struct Agent {
        Serf_Agent settings;
        Serf_Network network;
        std::unique_ptr<Serf_Connection> connection; // null: disconnected
        Agent_Status status;
        Time retry_at{};
        std::chrono::milliseconds retry_after{0};
        Time connected_at{};
        std::string own_name;               // of its own member
        std::optional<Time> differs_since;  // its counts are not those of the network
        std::optional<Serf_Report> renewed; // its members, while new settings wait for the lists of all agents
        bool is_renewing = false;
    };

    Serf_Network::Rules rules(const Agent &agent) const {
        return {numbers_, agent.own_name, local_node_, settings_.settle, settings_.grace};
    }
    void add_agent(const Serf_Agent &settings);
    void apply_agents(Time now);
    void disconnect(Agent &agent, Time hold_until);
    void advance(Agent &agent, Time now);
    void connect(Agent &agent, Time now);
    void read(Agent &agent, Time now);
    void compare_counts(Agent &agent, Time now);
    void lose(Agent &agent, const std::string &why, Time now);
    void heed(const Serf_Network::News &news);
    void apply_wanted_settings(Time now);
    bool knows_local_node(Time now);
    void check_local_node();
    bool is_ready_for_first_step(Time now) const;
    std::optional<Engine_Step> step();
    void add_died(Liveness &next);
    Configuration configuration() const;
    Liveness liveness() const;
    bool has_departed(int node, int network) const;
    Liveness without_departed(const Liveness &next) const;
    void update_status();
    Time next_due(Time now) const;

    Serf_Settings settings_;
    std::optional<Serf_Settings> wanted_; // waits for the agents' lists
    Serf_Numbers numbers_;
    Wait_Point wait_point_;
    Serf_Names names_;
    Serf_Network::Settling settling_;
    std::vector<std::unique_ptr<Agent>> agents_; // by ascending network
    std::optional<Time> started_;
    std::optional<int> local_node_;
    std::string contradiction_; // between the local node and the tags of its members
    bool liveness_changed_ = false;
    bool configuration_changed_ = true;
    bool has_more_ = false; // the next step is known
    std::optional<Liveness> reported_;
    Engine_Status status_;
};

} // namespace wispd
