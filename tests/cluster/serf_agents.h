// SPDX-License-Identifier: Apache-2.0
// Many real Serf agents on this machine, in one network namespace: each node has an agent on each network, with
// loopback addresses of its own.
//
// Nodes are numbered from 1, networks from 0. Everything exists only in the namespaces of one host of
// tests/cluster/host_namespaces.h, so all of it ends with the test, even when the test is killed.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/cluster/host_namespaces.h"
#include "tests/cluster/serf_rpc.h"

namespace hb_test {

// Returns why this machine cannot run agents, and what to do about it; nothing if it can.
std::optional<std::string> why_no_agents();
// Returns why networks cannot be parted here; nothing if they can.
std::optional<std::string> why_no_partitions();
// Returns why links cannot lose packets here; nothing if they can.
std::optional<std::string> why_no_loss();

struct Serf_Settings {
    std::string profile = "local"; // or "lan", Serf's default, which repeats its messages more often
    std::string encrypt_key;       // 32 bytes in base64
    std::string auth_key;          // of the RPC socket
    // How often an agent tries to reach a failed member again. Serf's own default is 30 s.
    int reconnect_seconds = 1;
};

struct Serf_Counts {
    int alive = 0;
    int failed = 0;
    int left = 0;

    bool operator==(const Serf_Counts &) const = default;
};

class Serf_Agents {
  public:
    // The namespaces exist, but no agent runs yet.
    explicit Serf_Agents(int nodes, int networks = 1, const Serf_Settings &settings = {});
    Serf_Agents(const Serf_Agents &) = delete;
    Serf_Agents &operator=(const Serf_Agents &) = delete;

    int nodes() const { return nodes_; }
    int networks() const { return networks_; }
    const Serf_Settings &settings() const { return settings_; }
    // All agents are on this host of the namespaces.
    static constexpr int HOST = 1;
    const Host_Namespaces &places() const { return places_; }
    static std::string name(int node) { return "n" + std::to_string(node); }
    static std::string address(int node, int network);
    static std::string rpc_address(int node, int network) { return address(node, network) + ":7373"; }

    // ---- Agents ----

    // Starts without waiting. The agent joins a few others, and retries until it has reached one.
    void start(int node, int network);
    void start_all();
    // SIGKILL, to all of them before it waits for one.
    void kill_all(int network, const std::set<int> &nodes);
    void kill(int node, int network) { kill_all(network, {node}); }
    // Lets the agent leave in good order, as an administrator would; waits for its end.
    void leave(int node, int network);
    void stop(int node, int network);    // SIGSTOP
    void proceed(int node, int network); // SIGCONT
    bool running(int node, int network);
    bool stopped(int node, int network) const { return stopped_.count({node, network}) != 0; }
    pid_t pid(int node, int network) const;

    // ---- Networks ----

    // Parts a network: no packet passes between these nodes and the others.
    void part(int network, const std::set<int> &nodes);
    void mend(int network);
    bool parted(int network) const { return parted_.count(network) != 0; }
    // Every packet of the namespace is lost with this probability; 0 ends it.
    void lose(int percent);

    // ---- What agents report; nothing while an agent does not answer ----

    std::optional<Serf_Counts> counts(int node, int network);
    std::optional<std::vector<Serf_Member>> members(int node, int network);
    // The numbers of the nodes that the agent reports alive.
    std::optional<std::set<int>> alive(int node, int network);
    // Waits until each asked agent reports exactly these nodes alive.
    bool wait_alive(int network, const std::set<int> &asked, const std::set<int> &alive,
                    const Deadline &deadline = Deadline());
    // Waits until every agent reports every node alive. An agent that missed a message of a mass start joins others again:
    // by itself it exchanges everything with another agent only once a minute.
    bool wait_all_alive(const Deadline &deadline = Deadline());
    // The counts of every agent and the logs of those that have ended, for messages.
    std::string account();
    std::string log(int node, int network) const;

    // Connects to an address in the namespace; no descriptor if nothing listens there.
    Unique_Fd connect(const std::string &address) const;

  private:
    using Key = std::pair<int, int>; // node, network

    void check(int node, int network) const;
    std::string configuration(int node, int network);
    std::vector<std::string> peers(int node, int network);
    Child_Process &agent(int node, int network) const;
    template <typename Answer, typename Ask>
    std::optional<Answer> ask(int node, int network, const Ask &question);
    void forget(int node, int network);

    int nodes_;
    int networks_;
    Serf_Settings settings_;
    Host_Namespaces places_;
    Unique_Fd network_namespace_;
    std::map<Key, std::unique_ptr<Child_Process>> agents_;
    std::map<Key, std::unique_ptr<Serf_Rpc>> connections_;
    std::set<Key> stopped_;
    std::set<int> parted_;
};

// 1 to that number.
std::set<int> nodes_up_to(int last);

} // namespace hb_test
