// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/serf_agents.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <sstream>
#include <stdexcept>
#include <sys/resource.h>
#include <thread>

#include <nlohmann/json.hpp>

#include "tests/cluster/system_programs.h"

namespace hb_test {
namespace {

constexpr int SEEDS = 3;
constexpr int PORT = 7946;
constexpr int MOST_NODES = 2000;
constexpr std::chrono::seconds ANSWER{5};
constexpr std::chrono::seconds BEFORE_JOINING_AGAIN{3};
constexpr int WAVE = 25;
constexpr std::chrono::seconds LONGEST_WAVE{10};
constexpr std::chrono::milliseconds BETWEEN_QUESTIONS{20}; // leaves the agents their processors
const char *const FOLDER = "/run/serf";

std::string file_of(int node, int network, const std::string &ending) {
    return std::string(FOLDER) + "/" + std::to_string(node) + "-" + std::to_string(network) + ending;
}

// Each child has three pipes.
void permit_many_descriptors() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

// The network's addresses, as a prefix.
std::string prefix(int network) {
    return "127." + std::to_string(10 + network) + ".0.0/16";
}

std::string table(int network) {
    return "parted" + std::to_string(network);
}

// Each node's agents run as a user of their own, so that rules know which node sends a packet: TCP connections do
// not carry their agent's address.
unsigned user_of(int node) {
    return 100000U + static_cast<unsigned>(node);
}

// The user namespace of an ordinary user has no other users.
bool has_users() {
    std::ifstream map("/proc/self/uid_map");
    unsigned long inside = 0;
    unsigned long outside = 0;
    unsigned long count = 0;
    return map >> inside >> outside >> count && inside == 0 && count > user_of(MOST_NODES);
}

// Packets are marked where they leave and dropped where they arrive: a sender whose packet is refused suspects nothing.
std::string rules(int network, const std::set<int> &nodes) {
    std::string addresses;
    std::string users;
    for (const int node : nodes) {
        const std::string comma = addresses.empty() ? "" : ", ";
        addresses += comma + Serf_Agents::address(node, network);
        users += comma + std::to_string(user_of(node));
    }
    const std::string to_network = "ip daddr " + prefix(network) + " ";
    std::ostringstream text;
    text << "table ip " << table(network) << " {\n"
         << "set addresses { type ipv4_addr; elements = { " << addresses << " }; }\n"
         << "set users { type uid; elements = { " << users << " }; }\n"
         << "chain leaving { type filter hook output priority 0;\n"
         << to_network << "meta skuid >= " << user_of(0) << " meta skuid @users meta mark set 1\n"
         << to_network << "meta skuid >= " << user_of(0) << " meta skuid != @users meta mark set 2\n"
         << "}\nchain arriving { type filter hook input priority 0;\n"
         << to_network << "meta mark 1 ip daddr != @addresses drop\n"
         << to_network << "meta mark 2 ip daddr @addresses drop\n"
         << "}\n}\n";
    return text.str();
}

Finished run_with_input(const Host_Namespaces &places, const std::vector<std::string> &program,
                        const std::string &input) {
    const auto process = places.run(Serf_Agents::HOST, program);
    process->write_input(input);
    process->close_input();
    const std::optional<Child_End> end = process->wait();
    if (!end) {
        throw std::runtime_error(program[0] + " did not end in time");
    }
    return {end->exit_status, process->output(), process->error_output()};
}

void need(const Finished &finished, const std::string &what) {
    if (finished.exit_status != 0) {
        throw std::runtime_error(what + ": " + finished.errors);
    }
}

std::string first_line(const std::string &text) {
    return text.substr(0, text.find('\n'));
}

} // namespace

std::optional<std::string> why_no_agents() {
    if (missing_program({"serf"})) {
        return "the program serf is missing (Debian package serf)";
    }
    return why_no_namespaces();
}

std::optional<std::string> why_no_partitions() {
    if (missing_program({"nft"})) {
        return "the program nft is missing (Debian package nftables)";
    }
    if (!has_users()) {
        return "each node's agents need a user of their own, which only root can give them";
    }
    const Host_Namespaces places(1, 1);
    const Finished finished = run_with_input(places, {"nft", "-f", "-"}, rules(0, {1}));
    return finished.exit_status == 0
               ? std::nullopt
               : std::optional("the kernel rejects rules of nftables: " + first_line(finished.errors));
}

std::optional<std::string> why_no_loss() {
    if (missing_program({"tc"})) {
        return "the program tc is missing (Debian package iproute2)";
    }
    const Host_Namespaces places(1, 1);
    const Finished finished =
        places.run_to_end(1, {"tc", "qdisc", "add", "dev", "lo", "root", "netem", "loss", "1%"});
    return finished.exit_status == 0 ? std::nullopt
                                     : std::optional("the kernel has no netem: " + first_line(finished.errors));
}

std::set<int> nodes_up_to(int last) {
    std::set<int> nodes;
    for (int node = 1; node <= last; ++node) {
        nodes.insert(node);
    }
    return nodes;
}

Serf_Agents::Serf_Agents(int nodes, int networks, const Serf_Settings &settings)
    : nodes_(nodes), networks_(networks), settings_(settings), places_((permit_many_descriptors(), HOST), 1) {
    if (nodes < 1 || nodes > MOST_NODES || networks < 1 || networks > 48) {
        throw std::invalid_argument("there are 1 to 2000 nodes on 1 to 48 networks");
    }
    const std::string path = "/proc/" + std::to_string(places_.holders().front()) + "/ns/net";
    network_namespace_.reset(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::filesystem::create_directory(places_.outside(HOST, FOLDER));
}

// The last byte is neither 0 nor 255.
std::string Serf_Agents::address(int node, int network) {
    return "127." + std::to_string(10 + network) + "." + std::to_string((node - 1) / 250) + "." +
           std::to_string((node - 1) % 250 + 1);
}

void Serf_Agents::check(int node, int network) const {
    if (node < 1 || node > nodes_ || network < 0 || network >= networks_) {
        throw std::invalid_argument("there is no agent of node " + std::to_string(node) + " on network " +
                                    std::to_string(network));
    }
}

Child_Process &Serf_Agents::agent(int node, int network) const {
    const auto found = agents_.find({node, network});
    if (found == agents_.end()) {
        throw std::logic_error("no agent was started for node " + std::to_string(node) + " on network " +
                               std::to_string(network));
    }
    return *found->second;
}

pid_t Serf_Agents::pid(int node, int network) const {
    return agent(node, network).pid();
}

// ---- Agents ----

// The first nodes, and the next running ones where those do not run: at the first start of a cluster no agent runs.
std::vector<std::string> Serf_Agents::peers(int node, int network) {
    std::vector<std::string> found;
    for (int other = 1; other <= nodes_ && found.size() < SEEDS; ++other) {
        const bool is_there = agents_.count({other, network}) == 0 || running(other, network);
        if (other != node && is_there) {
            found.push_back(address(other, network));
        }
    }
    return found;
}

std::string Serf_Agents::configuration(int node, int network) {
    nlohmann::json text = {
        {"node_name", name(node)},
        {"bind", address(node, network) + ":" + std::to_string(PORT)},
        {"rpc_addr", rpc_address(node, network)},
        {"tags", {{"hb_node", std::to_string(node)}}},
        {"profile", settings_.profile},
        {"log_level", "err"},
        {"retry_interval", "1s"},
        {"reconnect_interval", std::to_string(settings_.reconnect_seconds) + "s"},
    };
    if (const std::vector<std::string> others = peers(node, network); !others.empty()) {
        text["retry_join"] = others;
    }
    if (!settings_.encrypt_key.empty()) {
        text["encrypt_key"] = settings_.encrypt_key;
    }
    if (!settings_.auth_key.empty()) {
        text["rpc_auth"] = settings_.auth_key;
    }
    return text.dump();
}

// A shell redirects the agent's log to a file: nothing reads a pipe while a test waits for something else. A change of
// the user resets the signal that a process receives when its parent ends.
void Serf_Agents::start(int node, int network) {
    check(node, network);
    forget(node, network);
    const std::string file = file_of(node, network, ".json");
    std::ofstream(places_.outside(HOST, file), std::ios::trunc) << configuration(node, network) << std::flush;
    std::vector<std::string> program = {"sh", "-c", "log=$1; shift; exec \"$@\" >>\"$log\" 2>&1", "sh",
                                        file_of(node, network, ".log")};
    if (has_users()) {
        const std::string user = std::to_string(user_of(node));
        program.insert(program.end(),
                       {"setpriv", "--reuid", user, "--regid", user, "--clear-groups", "--pdeathsig", "KILL"});
    }
    program.insert(program.end(), {"serf", "agent", "-disable-compression", "-config-file=" + file});
    // Compression costs most of the processor time, and hundreds of agents share the processors of one machine.
    // Without GOMAXPROCS each agent has a thread for each processor, and the threads of hundreds of agents compete.
    agents_[{node, network}] = places_.run(HOST, program, {{"GOMAXPROCS", "1"}});
}

// Agents that all join at once fill the processors, and then report each other failed. So a wave begins when the last
// agent of the wave before it knows all that were started.
void Serf_Agents::start_all() {
    for (int network = 0; network < networks_; ++network) {
        for (int node = 1; node <= nodes_; ++node) {
            start(node, network);
            if (node % WAVE == 0) {
                wait_until(
                    [&] {
                        std::this_thread::sleep_for(BETWEEN_QUESTIONS);
                        const std::optional<Serf_Counts> count = counts(node, network);
                        return count && count->alive == node;
                    },
                    Deadline(LONGEST_WAVE));
            }
        }
    }
}

void Serf_Agents::forget(int node, int network) {
    connections_.erase({node, network});
    stopped_.erase({node, network});
}

void Serf_Agents::kill_all(int network, const std::set<int> &nodes) {
    for (const int node : nodes) {
        agent(node, network).send_signal(SIGKILL);
        forget(node, network);
    }
    for (const int node : nodes) {
        agent(node, network).wait();
    }
}

void Serf_Agents::leave(int node, int network) {
    agent(node, network).send_signal(SIGINT);
    forget(node, network);
    const std::optional<Child_End> end = agent(node, network).wait();
    if (!end) {
        throw std::runtime_error("the agent of node " + std::to_string(node) +
                                 " does not leave: " + log(node, network));
    }
}

void Serf_Agents::stop(int node, int network) {
    agent(node, network).send_signal(SIGSTOP);
    forget(node, network);
    stopped_.insert({node, network});
}

void Serf_Agents::proceed(int node, int network) {
    agent(node, network).send_signal(SIGCONT);
    stopped_.erase({node, network});
}

bool Serf_Agents::running(int node, int network) {
    check(node, network);
    const auto found = agents_.find({node, network});
    return found != agents_.end() && found->second->running();
}

// ---- Networks ----

void Serf_Agents::part(int network, const std::set<int> &nodes) {
    check(1, network);
    mend(network);
    need(run_with_input(places_, {"nft", "-f", "-"}, rules(network, nodes)), "the network cannot be parted");
    parted_.insert(network);
}

void Serf_Agents::mend(int network) {
    if (parted_.erase(network) != 0) {
        need(places_.run_to_end(HOST, {"nft", "delete", "table", "ip", table(network)}),
             "the network cannot be mended");
    }
}

void Serf_Agents::lose(int percent) {
    const Finished finished = percent == 0
                                  ? places_.run_to_end(HOST, {"tc", "qdisc", "del", "dev", "lo", "root"})
                                  : places_.run_to_end(HOST, {"tc", "qdisc", "replace", "dev", "lo", "root",
                                                              "netem", "loss", std::to_string(percent) + "%"});
    need(finished, "the loss of packets cannot be changed");
}

// ---- What agents report ----

// Only the thread changes its namespace. The socket stays in the one in which it was created.
Unique_Fd Serf_Agents::connect(const std::string &address) const {
    Unique_Fd socket;
    std::thread inside([&] {
        if (setns(network_namespace_.get(), CLONE_NEWNET) == 0) {
            socket = connect_to_serf(address);
        }
    });
    inside.join();
    return socket;
}

template <typename Answer, typename Ask>
std::optional<Answer> Serf_Agents::ask(int node, int network, const Ask &question) {
    if (!running(node, network) || stopped(node, network)) {
        return std::nullopt;
    }
    std::unique_ptr<Serf_Rpc> &connection = connections_[{node, network}];
    try {
        if (!connection) {
            Unique_Fd socket = connect(rpc_address(node, network));
            if (!socket) {
                return std::nullopt;
            }
            connection = std::make_unique<Serf_Rpc>(std::move(socket), settings_.auth_key, Deadline(ANSWER));
        }
        return question(*connection);
    } catch (const std::exception &) {
        connection.reset();
        return std::nullopt;
    }
}

std::optional<Serf_Counts> Serf_Agents::counts(int node, int network) {
    return ask<Serf_Counts>(node, network, [](Serf_Rpc &agent) {
        const std::map<std::string, std::string> counts = agent.counts(Deadline(ANSWER));
        const auto number = [&](const char *name) { return std::stoi(counts.at(name)); };
        return Serf_Counts{number("members") - number("failed") - number("left"), number("failed"),
                           number("left")};
    });
}

std::optional<std::vector<Serf_Member>> Serf_Agents::members(int node, int network) {
    return ask<std::vector<Serf_Member>>(node, network,
                                         [](Serf_Rpc &agent) { return agent.members(Deadline(ANSWER)); });
}

std::optional<std::set<int>> Serf_Agents::alive(int node, int network) {
    const std::optional<std::vector<Serf_Member>> all = members(node, network);
    if (!all) {
        return std::nullopt;
    }
    std::set<int> nodes;
    for (const Serf_Member &member : *all) {
        if (member.status == "alive" || member.status == "leaving") {
            nodes.insert(std::stoi(member.tags.at("hb_node")));
        }
    }
    return nodes;
}

// The counts are cheap, so the list of members is read only when they fit.
bool Serf_Agents::wait_alive(int network, const std::set<int> &asked, const std::set<int> &wanted,
                             const Deadline &deadline) {
    return std::all_of(asked.begin(), asked.end(), [&](int node) {
        return wait_until(
            [&] {
                const std::optional<Serf_Counts> count = counts(node, network);
                if (count && count->alive == static_cast<int>(wanted.size()) &&
                    alive(node, network) == wanted) {
                    return true;
                }
                std::this_thread::sleep_for(
                    std::chrono::milliseconds(20)); // leaves the agents their processors
                return false;
            },
            deadline);
    });
}

bool Serf_Agents::wait_all_alive(const Deadline &deadline) {
    const std::set<int> all = nodes_up_to(nodes_);
    for (int network = 0; network < networks_; ++network) {
        for (const int node : all) {
            while (!wait_alive(network, {node}, all, Deadline(BEFORE_JOINING_AGAIN))) {
                if (deadline.over()) {
                    return false;
                }
                ask<bool>(node, network, [&](Serf_Rpc &agent) {
                    agent.join(peers(node, network), Deadline(ANSWER));
                    return true;
                });
            }
        }
    }
    return true;
}

std::string Serf_Agents::log(int node, int network) const {
    std::ifstream file(places_.outside(HOST, file_of(node, network, ".log")));
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string Serf_Agents::account() {
    std::ostringstream text;
    for (const auto &[key, process] : agents_) {
        const auto &[node, network] = key;
        text << "agent of node " << node << " on network " << network << ": ";
        if (const std::optional<Serf_Counts> count = counts(node, network)) {
            text << count->alive << " alive, " << count->failed << " failed, " << count->left << " left\n";
        } else {
            text << (running(node, network) ? stopped(node, network) ? "stopped" : "no answer" : "ended")
                 << "\n"
                 << log(node, network);
        }
    }
    return text.str();
}

} // namespace hb_test
