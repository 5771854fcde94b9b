// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/hosts.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

#include "tests/cluster/system_programs.h"

namespace hb_test {
namespace {

// Every check of an engine runs a program, and many engines share few processors.
constexpr int MILLISECONDS_BETWEEN_LOOKS = 20;
// A tool waits forever for an engine that is stopped by a signal.
constexpr std::chrono::seconds LONGEST_ANSWER{5};

std::size_t at(int host) {
    return static_cast<std::size_t>(host) - 1;
}

std::string last_lines(const std::string &text, std::size_t wanted) {
    std::size_t start = text.size();
    for (std::size_t lines = 0; start > 0 && lines <= wanted; ++lines) {
        start = text.rfind('\n', start - 1);
        if (start == std::string::npos) {
            return text;
        }
    }
    return text.substr(start);
}

// Returns the text after "Name:" in one of the lines.
std::string field(const std::string &text, const std::string &name) {
    const std::size_t found = text.find("\n" + name + ":");
    if (found == std::string::npos) {
        return {};
    }
    std::istringstream rest(text.substr(found + name.size() + 2));
    std::string word;
    rest >> word;
    return word;
}

std::set<unsigned> members_of(const std::string &text) {
    std::set<unsigned> members;
    std::istringstream lines(text.substr(std::min(text.size(), text.find("Membership information"))));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        unsigned id = 0;
        if (words >> id) {
            members.insert(id);
        }
    }
    return members;
}

// "KEY (TYPE) = VALUE" on every line.
std::map<std::string, std::string> keys_of(const std::string &text) {
    std::map<std::string, std::string> keys;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t name_end = line.find(" (");
        const std::size_t value = line.find(") = ");
        if (name_end != std::string::npos && value != std::string::npos) {
            keys[line.substr(0, name_end)] = line.substr(value + 4);
        }
    }
    return keys;
}

std::vector<std::string> map_question(Engine_Map map) {
    if (map == Engine_Map::stats) {
        return {"corosync-cmapctl", "-m", "stats"};
    }
    return {"corosync-cmapctl"};
}

// Returns the output of one of the engine's tools; nothing if the tool does not end.
std::string answer(const Host_Namespaces &places, int host, const std::vector<std::string> &question) {
    const std::unique_ptr<Child_Process> tool = places.run(host, question);
    return tool->wait(Deadline(LONGEST_ANSWER)) ? tool->output() : std::string();
}

bool share_an_address(const Engine_Node &one, const Engine_Node &other) {
    return std::find_first_of(one.addresses.begin(), one.addresses.end(), other.addresses.begin(),
                              other.addresses.end()) != one.addresses.end();
}

std::vector<Engine_Node> nodes_like(const Host_Namespaces &places) {
    std::vector<Engine_Node> nodes;
    for (int host = 1; host <= places.hosts(); ++host) {
        Engine_Node node{static_cast<unsigned>(host), Host_Namespaces::name(host), {}};
        for (int link = 0; link < places.networks(); ++link) {
            node.addresses.push_back(Host_Namespaces::address(host, link));
        }
        nodes.push_back(node);
    }
    return nodes;
}

} // namespace

std::optional<std::string> why_no_hosts() {
    const std::optional<std::string> missing =
        missing_program({"corosync", "corosync-cfgtool", "corosync-cmapctl", "corosync-quorumtool"});
    std::optional<std::string> reason =
        missing ? "the program " + *missing + " is missing" : why_no_namespaces();
    if (reason && reason->find("is missing") != std::string::npos) {
        *reason += "; scripts/setup installs what is needed";
    } else if (reason && geteuid() != 0) {
        *reason +=
            R"(; run it as root, or with "unshare --user --map-root-user" before it where that is permitted)";
    }
    return reason;
}

Hosts::Hosts(int hosts, int links, const Engine_Settings &settings)
    : places_(hosts, links), settings_(settings), first_nodes_(nodes_like(places_)), nodes_(first_nodes_),
      engines_(static_cast<std::size_t>(hosts)) {
    write_all();
}

void Hosts::check(int host) const {
    if (host < 1 || host > count()) {
        throw std::invalid_argument("there is no host " + std::to_string(host) + ", only 1 to " +
                                    std::to_string(count()));
    }
}

// ---- Engines ----

void Hosts::start(int host) {
    check(host);
    if (engines_[at(host)]) {
        throw std::logic_error("the engine of " + places_.name(host) + " was started already");
    }
    // The engine does not create the directory for its state.
    std::filesystem::create_directories(places_.outside(host, ENGINE_STATE));
    engines_[at(host)] = places_.run(host, {"corosync", "-f", "-c", ENGINE_CONFIGURATION});
}

void Hosts::start_all() {
    for (int host = 1; host <= count(); ++host) {
        start(host);
    }
}

void Hosts::stop(int host) {
    Child_Process &process = engine(host);
    process.send_signal(SIGTERM);
    const std::optional<Child_End> end = process.wait();
    engines_[at(host)].reset();
    if (!end || end->exit_status != 0) {
        throw std::runtime_error("the engine of " + places_.name(host) +
                                 " did not stop as it should: " + last_lines(log(host), 20));
    }
}

void Hosts::kill(int host) {
    const std::string process = std::to_string(engine(host).pid());
    engine(host).send_signal(SIGKILL);
    engines_[at(host)].reset();
    remove_shared_memory(host, process);
}

// A killed engine leaves several megabytes each time, and its host is never rebooted.
void Hosts::remove_shared_memory(int host, const std::string &process) const {
    for (const auto &entry : std::filesystem::directory_iterator(places_.outside(host, "/dev/shm"))) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with("qb-" + process + "-") || name.starts_with("qb-corosync-" + process + "-")) {
            std::error_code ignored; // clients that notice the end remove their files themselves
            std::filesystem::remove_all(entry.path(), ignored);
        }
    }
}

void Hosts::restart(int host) {
    stop(host);
    start(host);
}

bool Hosts::running(int host) {
    check(host);
    return engines_[at(host)] && engines_[at(host)]->running();
}

Child_Process &Hosts::engine(int host) {
    check(host);
    if (!engines_[at(host)]) {
        throw std::logic_error("the engine of " + places_.name(host) + " does not run");
    }
    return *engines_[at(host)];
}

void Hosts::check_engines() {
    for (int host = 1; host <= count(); ++host) {
        if (engines_[at(host)] && !engines_[at(host)]->running()) {
            engines_[at(host)]->wait();
            throw std::runtime_error("the engine of " + places_.name(host) + " has ended by itself: " +
                                     engines_[at(host)]->error_output() + last_lines(log(host), 20));
        }
    }
}

// ---- Configuration ----

Engine_Node Hosts::node_of(int host) const {
    check(host);
    for (const Engine_Node &node : nodes_) {
        if (share_an_address(node, first_nodes_[at(host)])) {
            return node;
        }
    }
    return first_nodes_[at(host)];
}

void Hosts::set_nodes(const std::vector<Engine_Node> &nodes) {
    nodes_ = nodes;
    write_all();
}

void Hosts::set_settings(const Engine_Settings &settings) {
    settings_ = settings;
    write_all();
}

void Hosts::write_all() const {
    for (int host = 1; host <= count(); ++host) {
        write_configuration(host, engine_configuration(settings_, nodes_));
    }
}

void Hosts::write_configuration(int host, const std::string &text) const {
    check(host);
    std::ofstream file(places_.outside(host, ENGINE_CONFIGURATION));
    file << text << std::flush;
    if (!file) {
        throw std::runtime_error("the configuration of " + places_.name(host) + " cannot be written");
    }
}

Reload Hosts::reload(int host) const {
    const Finished finished = places_.run_to_end(host, {"corosync-cfgtool", "-R"});
    return {finished.exit_status == 0, finished.output + finished.errors};
}

// ---- What an engine sees ----

std::optional<Engine_View> Hosts::view(int host) const {
    const std::string text = answer(places_, host, {"corosync-quorumtool", "-s"});
    if (text.find("Membership information") == std::string::npos) {
        return std::nullopt;
    }
    return Engine_View{field(text, "Quorate") == "Yes", members_of(text), field(text, "Ring ID")};
}

std::map<std::string, std::string> Hosts::values(int host, const std::string &prefix, Engine_Map map) const {
    std::vector<std::string> question = map_question(map);
    question.push_back(prefix);
    return keys_of(answer(places_, host, question));
}

std::optional<std::string> Hosts::value(int host, const std::string &key, Engine_Map map) const {
    std::vector<std::string> question = map_question(map);
    question.insert(question.end(), {"-g", key});
    const std::map<std::string, std::string> found = keys_of(answer(places_, host, question));
    return found.count(key) != 0 ? std::optional(found.at(key)) : std::nullopt;
}

std::optional<bool> Hosts::reaches(int host, int peer, int link) const {
    const std::optional<std::string> connected = value(host,
                                                       "stats.knet.node" + std::to_string(node_of(peer).id) +
                                                           ".link" + std::to_string(link) + ".connected",
                                                       Engine_Map::stats);
    return connected ? std::optional(*connected == "1") : std::nullopt;
}

std::string Hosts::log(int host) const {
    std::ostringstream text;
    text << std::ifstream(places_.outside(host, ENGINE_LOG)).rdbuf();
    return text.str();
}

std::set<unsigned> Hosts::running_nodes() {
    std::set<unsigned> nodes;
    for (int host = 1; host <= count(); ++host) {
        if (engines_[at(host)]) {
            nodes.insert(node_of(host).id);
        }
    }
    return nodes;
}

bool Hosts::wait_for(const std::function<bool()> &condition, const Deadline &deadline) {
    for (;;) {
        check_engines();
        if (condition()) {
            return true;
        }
        if (deadline.over()) {
            return false;
        }
        poll(nullptr, 0, MILLISECONDS_BETWEEN_LOOKS);
    }
}

bool Hosts::wait_sees(int host, const std::set<unsigned> &members, const Deadline &deadline) {
    return wait_for(
        [&] {
            const std::optional<Engine_View> seen = view(host);
            return seen && seen->members == members;
        },
        deadline);
}

bool Hosts::wait_reaches(int host, int peer, int link, bool reached, const Deadline &deadline) {
    return wait_for([&] { return reaches(host, peer, link) == reached; }, deadline);
}

bool Hosts::wait_quorum(const Deadline &deadline) {
    const std::set<unsigned> nodes = running_nodes();
    return wait_for(
        [&] {
            for (int host = 1; host <= count(); ++host) {
                const std::optional<Engine_View> seen = engines_[at(host)] ? view(host) : std::nullopt;
                if (engines_[at(host)] && !(seen && seen->quorate && seen->members == nodes)) {
                    return false;
                }
            }
            return true;
        },
        deadline);
}

std::string Hosts::account() const {
    std::ostringstream text;
    for (int host = 1; host <= count(); ++host) {
        text << places_.name(host) << ':';
        const std::optional<Engine_View> seen = view(host);
        if (!seen) {
            text << " no answer\n";
            continue;
        }
        text << (seen->quorate ? " quorate," : " no quorum,") << " members";
        for (const unsigned member : seen->members) {
            text << ' ' << member;
        }
        text << ", ring " << seen->ring << '\n';
    }
    return text.str();
}

} // namespace hb_test
