// Hosts of one cluster on one machine: namespaces that stand for a host each, and the networks between them.
//
// A host is held by a process with a network, a /run, a /dev/shm, System V objects and a name of its own. A
// further process holds the switch: one bridge for each network, to which every host has a cable. All of it lives
// in these namespaces alone, so it is gone as soon as no process is left in them; the machine's own interfaces
// and files are never touched.
//
// Holders and programs are told by the kernel to die with the thread that started them, so that one has to last. A program that detaches
// itself is found by its namespace and ended when the object goes; it outlives only a test that is killed.
#ifndef HB_TEST_CLUSTER_HOST_NAMESPACES_H
#define HB_TEST_CLUSTER_HOST_NAMESPACES_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/child_process.h"

namespace hb_test {

struct Finished {
    int exit_status = -1; // when no signal ended it
    std::string output;
    std::string errors;
};

// Why this machine can hold no such hosts; nothing when it can.
std::optional<std::string> why_no_namespaces();

// Hosts are counted from 1, networks from 0.
class HostNamespaces {
  public:
    HostNamespaces(int hosts, int networks);
    HostNamespaces(const HostNamespaces &) = delete;
    HostNamespaces &operator=(const HostNamespaces &) = delete;
    // Ends everything that runs in the namespaces, which then are gone.
    ~HostNamespaces();

    int hosts() const { return static_cast<int>(holders_.size()); }
    int networks() const { return networks_; }
    static std::string name(int host) { return "host" + std::to_string(host); }
    static std::string address(int host, int network);

    // A program inside the host, with pipes at its three streams; the ChildProcess is the program itself. Its
    // working directory is /.
    std::unique_ptr<ChildProcess> run(int host, const std::vector<std::string> &arguments,
                                      const ChildProcess::Environment &environment = {}) const;
    // The same to its end; throws when there is none before the deadline.
    Finished run_to_end(int host, const std::vector<std::string> &arguments,
                        const Deadline &deadline = Deadline()) const;
    // The words before a program's name that make it run inside the host.
    std::vector<std::string> entering(int host) const;

    // Where a file of the host's own /run lies for a program outside.
    std::string outside(int host, const std::string &path_in_host) const;

    // The cable between a host and a network: cut, its two ends lose their carrier.
    void cut(int host, int network) { switch_cable(host, network, "down"); }
    void restore(int host, int network) { switch_cable(host, network, "up"); }

    // The holders' process ids, the switch's last.
    std::vector<pid_t> holders() const;

  private:
    void connect();
    void check_host(int host) const;
    void switch_cable(int host, int network, const std::string &to);

    int networks_;
    std::unique_ptr<ChildProcess> switch_;
    std::vector<std::unique_ptr<ChildProcess>> holders_;
};

} // namespace hb_test

#endif
