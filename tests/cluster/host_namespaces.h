// SPDX-License-Identifier: Apache-2.0
// Hosts of one cluster on one machine: each host is a set of namespaces, and networks connect them.
//
// A process holds each host: a network, a /run, a /dev/shm, System V objects and a name of its own. Another
// process holds the switch: one bridge for each network, to which every host has a cable. All of it exists only
// in these namespaces, so it disappears when the last process in them ends. The machine's own interfaces and
// files are never changed.
//
// The kernel ends holders and programs when the thread that started them ends, so that thread must last. A
// program that detaches itself is found by its namespace and ended by the destructor. It survives only if the
// test is killed.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/child_process.h"

namespace hb_test {

struct Finished {
    int exit_status = -1; // if no signal ended it
    std::string output;
    std::string errors;
};

// Returns why this machine cannot run such hosts; nothing if it can.
std::optional<std::string> why_no_namespaces();

// Hosts are numbered from 1, networks from 0.
class Host_Namespaces {
  public:
    Host_Namespaces(int hosts, int networks);
    Host_Namespaces(const Host_Namespaces &) = delete;
    Host_Namespaces &operator=(const Host_Namespaces &) = delete;
    // Ends everything that runs in the namespaces, which removes them.
    ~Host_Namespaces();

    int hosts() const { return static_cast<int>(holders_.size()); }
    int networks() const { return networks_; }
    static std::string name(int host) { return "host" + std::to_string(host); }
    static std::string address(int host, int network);

    // Starts a program inside the host, with pipes at its three streams. The Child_Process is the program
    // itself. Its working directory is /.
    std::unique_ptr<Child_Process> run(int host, const std::vector<std::string> &arguments,
                                       const Child_Process::Environment &environment = {}) const;
    // The same, and waits for its end; throws at the deadline.
    Finished run_to_end(int host, const std::vector<std::string> &arguments,
                        const Deadline &deadline = Deadline()) const;
    // The words before a program's name that run it inside the host.
    std::vector<std::string> entering(int host) const;

    // The path by which a program outside reaches a file of the host's own /run.
    std::string outside(int host, const std::string &path_in_host) const;

    // The cable between a host and a network. When it is cut, both ends lose their carrier.
    void cut(int host, int network) { switch_cable(host, network, "down"); }
    void restore(int host, int network) { switch_cable(host, network, "up"); }

    // The holders' process ids, the switch's last.
    std::vector<pid_t> holders() const;

  private:
    void connect();
    void check_host(int host) const;
    void switch_cable(int host, int network, const std::string &to);

    int networks_;
    std::unique_ptr<Child_Process> switch_;
    std::vector<std::unique_ptr<Child_Process>> holders_;
};

} // namespace hb_test
