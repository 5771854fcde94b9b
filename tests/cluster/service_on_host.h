// SPDX-License-Identifier: Apache-2.0
// A program inside a host of a cluster, with the cluster service for that host's engine loaded.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/cluster/host_programs.h"

namespace hb_test {

// The command that makes a program of this build load the service. The programs that start it on a host do not
// load the service: a library with the address sanitizer can be loaded only into a program with it.
std::vector<std::string> with_service(const std::string &service, const std::vector<std::string> &program);
std::vector<std::string> with_corosync_service(const std::vector<std::string> &program);
Child_Process::Environment service_environment();

// The events that a client prints, one member a line: "death adapter 144", "join node 3", "configuration". Its
// first report of members appears as "group node 3". Understands the example of cluster-event mode and the
// system tests' client.
std::vector<std::string> told_in_line(const std::string &line);

class Service_Client_On_Host {
  public:
    Service_Client_On_Host(const Hosts &hosts, int host, const std::vector<std::string> &program,
                           const Child_Process::Environment &environment = {});
    // With another service than that over Corosync.
    Service_Client_On_Host(const Host_Namespaces &places, int host, const std::string &service,
                           const std::vector<std::string> &program,
                           const Child_Process::Environment &environment);

    void order(const std::string &command) { recording_.order(command); }
    // Waits for exactly this line.
    bool wait_line(const std::string &line, const Deadline &deadline = Deadline());
    // Waits until exactly these are up, by the events since its first report of members.
    bool wait_up(const std::set<unsigned> &nodes, const std::set<unsigned> &adapters,
                 const Deadline &deadline = Deadline());
    bool wait_told(std::size_t mark, const std::string &what, const Deadline &deadline = Deadline());
    // Marks the current position.
    std::size_t mark();
    std::vector<std::string> told_since(std::size_t mark);
    // Deaths of members that were not up, and joins of members that were.
    const std::vector<std::string> &objections() const { return objections_; }
    // For messages.
    std::string account() const;
    bool running() { return recording_.running(); }
    void send_signal(int signal) const { recording_.send_signal(signal); }

  private:
    void collect();
    void take(const std::string &told);

    Recording recording_;
    std::vector<std::string> lines_;
    std::vector<std::string> told_;
    std::map<std::string, std::set<unsigned>> up_; // "node", "adapter"
    std::vector<std::string> objections_;
};

} // namespace hb_test
