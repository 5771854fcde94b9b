// SPDX-License-Identifier: Apache-2.0
// A real cluster on this machine: each host runs its own Corosync and is on every link.
//
// Hosts are numbered from 1, links from 0. The engine's own command line tools report what it sees.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/cluster/engine_configuration.h"
#include "tests/cluster/host_namespaces.h"

namespace hb_test {

// Returns why no such cluster can run on this machine, and what to do about it; nothing if one can.
std::optional<std::string> why_no_hosts();

struct Engine_View {
    bool quorate = false;
    std::set<unsigned> members; // node ids
    std::string ring;           // a new one with every change of membership
};

struct Reload {
    bool accepted = false;
    std::string message;
};

enum class Engine_Map { cmap, stats };

class Hosts {
  public:
    // The hosts exist, but no engine runs yet. Each host is a node of the same name; its id is the host's
    // number.
    explicit Hosts(int hosts, int links = 2, const Engine_Settings &settings = {});
    Hosts(const Hosts &) = delete;
    Hosts &operator=(const Hosts &) = delete;

    int count() const { return places_.hosts(); }
    int links() const { return places_.networks(); }
    Host_Namespaces &places() { return places_; }
    const Host_Namespaces &places() const { return places_; }

    // ---- Engines ----

    void start(int host);
    void start_all();
    // Sends SIGTERM; the engine must exit with 0.
    void stop(int host);
    // SIGKILL.
    void kill(int host);
    void restart(int host);
    bool running(int host);
    // For other signals, while it runs.
    Child_Process &engine(int host);

    // ---- Links ----

    void cut(int host, int link) { places_.cut(host, link); }
    void restore(int host, int link) { places_.restore(host, link); }

    // ---- Configuration ----

    const std::vector<Engine_Node> &nodes() const { return nodes_; }
    Engine_Node node_of(int host) const;
    // Writes the node list to every host. The engines read it at the next start or reload.
    void set_nodes(const std::vector<Engine_Node> &nodes);
    // The same for the other settings.
    void set_settings(const Engine_Settings &settings);
    // For a configuration that is wrong, or differs from the other hosts'.
    void write_configuration(int host, const std::string &text) const;
    // Makes all engines read their configuration. This host's engine sends the request to all.
    Reload reload(int host) const;

    // ---- What an engine sees; nothing while it does not answer ----

    std::optional<Engine_View> view(int host) const;
    std::optional<std::string> value(int host, const std::string &key, Engine_Map map = Engine_Map::cmap) const;
    std::map<std::string, std::string> values(int host, const std::string &prefix,
                                              Engine_Map map = Engine_Map::cmap) const;
    // Returns whether the host's engine reaches the peer's node over the link.
    std::optional<bool> reaches(int host, int peer, int link) const;
    std::string log(int host) const;

    // Each of these throws, with the end of the log, if an engine has ended unexpectedly.

    // Waits until the running engines are quorate and each of them sees exactly these nodes.
    bool wait_quorum(const Deadline &deadline = Deadline());
    bool wait_sees(int host, const std::set<unsigned> &members, const Deadline &deadline = Deadline());
    bool wait_reaches(int host, int peer, int link, bool reached, const Deadline &deadline = Deadline());

    // The view of every host, for messages.
    std::string account() const;

  private:
    void check(int host) const;
    void check_engines();
    void write_all() const;
    void remove_shared_memory(int host, const std::string &process) const;
    std::set<unsigned> running_nodes();
    bool wait_for(const std::function<bool()> &condition, const Deadline &deadline);

    Host_Namespaces places_;
    Engine_Settings settings_;
    std::vector<Engine_Node> first_nodes_; // by host
    std::vector<Engine_Node> nodes_;
    std::vector<std::unique_ptr<Child_Process>> engines_; // by host; null while it must not run
};

} // namespace hb_test
