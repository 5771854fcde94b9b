// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/host_namespaces.h"

#include <set>
#include <stdexcept>
#include <unistd.h>

#include "tests/cluster/namespace_sweep.h"
#include "tests/cluster/system_programs.h"

namespace hb_test {
namespace {

// A holder waits for the end of its input, which comes when its starter ends for any reason. It ignores Ctrl-C
// and timeout(1), which signal it together with its starter. Otherwise the starter could not find the
// namespaces any more to end the programs in them.
const char *const HOST_SCRIPT =
    "trap '' INT TERM HUP; mount -t tmpfs -o mode=755 tmpfs /run && mkdir -p /run/lock && "
    "mount -t tmpfs -o mode=1777 tmpfs /dev/shm && "
    "hostname \"$1\" && ip link set lo up && echo ready && exec cat >/dev/null";
const char *const SWITCH_SCRIPT = "trap '' INT TERM HUP; echo ready && exec cat >/dev/null";

std::string end_of_line_removed(std::string text) {
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text;
}

Finished finish(Child_Process &process, const std::string &what, const Deadline &deadline) {
    process.close_input();
    const std::optional<Child_End> end = process.wait(deadline);
    if (!end) {
        throw std::runtime_error(what + " did not end in time; so far it printed: " + process.output() +
                                 process.error_output());
    }
    return {end->exit_status, process.output(), process.error_output()};
}

std::unique_ptr<Child_Process> start_holder(std::vector<std::string> unsharing, const char *script,
                                            const std::string &name) {
    unsharing.insert(unsharing.end(), {"sh", "-c", script, "sh", name});
    return std::make_unique<Child_Process>(unsharing, with_system_path());
}

void wait_for_holder(Child_Process &holder, const std::string &what) {
    if (holder.read_line() != "ready") {
        holder.wait(Deadline(std::chrono::seconds(1)));
        throw std::runtime_error(
            what + " cannot be held in namespaces: " + end_of_line_removed(holder.error_output()));
    }
}

std::vector<std::string> entering_network(const Child_Process &holder) {
    return {"nsenter", "--target", std::to_string(holder.pid()), "--net"};
}

// Runs several commands of ip(8) inside the holder's network.
void configure(const Child_Process &holder, const std::string &commands) {
    std::vector<std::string> arguments = entering_network(holder);
    arguments.insert(arguments.end(), {"ip", "-batch", "-"});
    Child_Process ip(arguments, with_system_path());
    ip.write_input(commands);
    const Finished finished = finish(ip, "ip", Deadline());
    if (finished.exit_status != 0) {
        throw std::runtime_error("the hosts' network cannot be set up: " +
                                 end_of_line_removed(finished.errors));
    }
}

std::string bridge(int network) {
    return "net" + std::to_string(network);
}

// The switch's end of a cable.
std::string port(int host, int network) {
    return "h" + std::to_string(host) + "n" + std::to_string(network);
}

// The host's end of a cable.
std::string interface(int network) {
    return "link" + std::to_string(network);
}

} // namespace

std::optional<std::string> why_no_namespaces() {
    const std::optional<std::string> missing =
        missing_program({"unshare", "nsenter", "mount", "hostname", "ip", "sh"});
    if (missing) {
        return "the program " + *missing + " is missing";
    }
    try {
        const Host_Namespaces smallest(1, 1);
    } catch (const std::exception &trouble) {
        return trouble.what();
    }
    return std::nullopt;
}

std::string Host_Namespaces::address(int host, int network) {
    return "10.91." + std::to_string(network) + "." + std::to_string(host);
}

Host_Namespaces::Host_Namespaces(int hosts, int networks) : networks_(networks) {
    if (hosts < 1 || hosts > 250 || networks < 1 || networks > 8) {
        throw std::invalid_argument("there are 1 to 250 hosts on 1 to 8 networks");
    }
    switch_ = start_holder({"unshare", "--net"}, SWITCH_SCRIPT, "switch");
    for (int host = 1; host <= hosts; ++host) {
        holders_.push_back(
            start_holder({"unshare", "--net", "--mount", "--uts", "--ipc"}, HOST_SCRIPT, name(host)));
    }
    wait_for_holder(*switch_, "the switch");
    for (int host = 1; host <= hosts; ++host) {
        wait_for_holder(*holders_[static_cast<std::size_t>(host) - 1], name(host));
    }
    connect();
}

void Host_Namespaces::connect() {
    std::string at_switch;
    for (int network = 0; network < networks_; ++network) {
        at_switch += "link add " + bridge(network) + " type bridge\nlink set " + bridge(network) + " up\n";
        for (int host = 1; host <= hosts(); ++host) {
            const std::string holder = std::to_string(holders_[static_cast<std::size_t>(host) - 1]->pid());
            at_switch += "link add " + port(host, network) + " type veth peer name " + interface(network) +
                         " netns " + holder + "\nlink set " + port(host, network) + " master " +
                         bridge(network) + " up\n";
        }
    }
    configure(*switch_, at_switch);
    for (int host = 1; host <= hosts(); ++host) {
        std::string at_host;
        for (int network = 0; network < networks_; ++network) {
            at_host += "addr add " + address(host, network) + "/24 dev " + interface(network) + "\nlink set " +
                       interface(network) + " up\n";
        }
        configure(*holders_[static_cast<std::size_t>(host) - 1], at_host);
    }
}

Host_Namespaces::~Host_Namespaces() {
    std::set<std::string> namespaces;
    const std::vector<pid_t> all = holders();
    for (const pid_t holder : all) {
        namespaces.insert(network_namespace(holder));
    }
    // A holder that has died has no namespace to look up, and no process outside may be hit instead.
    namespaces.erase("");
    namespaces.erase(network_namespace(getpid()));
    end_processes_in(namespaces, {all.begin(), all.end()});
}

std::vector<pid_t> Host_Namespaces::holders() const {
    std::vector<pid_t> all;
    for (const auto &holder : holders_) {
        all.push_back(holder->pid());
    }
    all.push_back(switch_->pid());
    return all;
}

void Host_Namespaces::check_host(int host) const {
    if (host < 1 || host > hosts()) {
        throw std::invalid_argument("there is no host " + std::to_string(host) + ", only 1 to " +
                                    std::to_string(hosts()));
    }
}

std::vector<std::string> Host_Namespaces::entering(int host) const {
    check_host(host);
    std::vector<std::string> words = entering_network(*holders_[static_cast<std::size_t>(host) - 1]);
    words.insert(words.end(), {"--mount", "--uts", "--ipc", "--"});
    return words;
}

std::unique_ptr<Child_Process> Host_Namespaces::run(int host, const std::vector<std::string> &arguments,
                                                    const Child_Process::Environment &environment) const {
    std::vector<std::string> words = entering(host);
    words.insert(words.end(), arguments.begin(), arguments.end());
    Child_Process::Environment variables = with_system_path();
    variables.insert(variables.end(), environment.begin(), environment.end());
    return std::make_unique<Child_Process>(words, variables);
}

Finished Host_Namespaces::run_to_end(int host, const std::vector<std::string> &arguments,
                                     const Deadline &deadline) const {
    return finish(*run(host, arguments), arguments[0], deadline);
}

std::string Host_Namespaces::outside(int host, const std::string &path_in_host) const {
    check_host(host);
    return "/proc/" + std::to_string(holders_[static_cast<std::size_t>(host) - 1]->pid()) + "/root" +
           path_in_host;
}

void Host_Namespaces::switch_cable(int host, int network, const std::string &to) {
    check_host(host);
    if (network < 0 || network >= networks_) {
        throw std::invalid_argument("there is no network " + std::to_string(network) + ", only 0 to " +
                                    std::to_string(networks_ - 1));
    }
    configure(*switch_, "link set " + port(host, network) + " " + to + "\n");
}

} // namespace hb_test
