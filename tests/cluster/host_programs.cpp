// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/host_programs.h"

#include <algorithm>
#include <csignal>
#include <ctime>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace hb_test {
namespace {

const std::string BIN = HB_TEST_BIN_DIR;

std::string read_file(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

// Sets the environment of wispd's clients completely, whatever this process was started with.
Child_Process::Environment on_socket(const std::string &wispd) {
    return {{"HB_SERVER_SOCKET", Wispd_On_Host::socket(wispd)}, {"HA_DOMAIN_NAME", ""}, {"HA_SYSPAR_NAME", ""}};
}

std::string event_text(const Told &told) {
    std::string text = told.kind == Told::Kind::death  ? "death"
                       : told.kind == Told::Kind::join ? "join"
                                                       : "configuration";
    std::set<unsigned> members = told.nodes;
    for (const auto &[member, incarnation] : told.members) {
        members.insert(member);
    }
    text += told.of_nodes || told.kind == Told::Kind::configuration ? " nodes" : " adapters";
    return members.empty() ? text : text + " " + text_of(members);
}

} // namespace

std::string text_of(const std::set<unsigned> &numbers) {
    std::string text;
    for (const unsigned number : numbers) {
        text += (text.empty() ? "" : " ") + std::to_string(number);
    }
    return text;
}

std::string engine_cluster_file(const Engine_Patience &patience, const std::string &more) {
    return "[source]\ntype = \"corosync\"\npoll_milliseconds = " + std::to_string(patience.poll_milliseconds) +
           "\ngrace_seconds = " + std::to_string(patience.grace_seconds) + "\n" + more;
}

// ---- Wispd_On_Host ----

Wispd_On_Host::Wispd_On_Host(const Hosts &hosts, int host, const std::string &configuration)
    : Wispd_On_Host(hosts.places(), host, configuration, "wisp") {}

Wispd_On_Host::Wispd_On_Host(const Host_Namespaces &places, int host, const std::string &configuration,
                             const std::string &name)
    : places_(places), host_(host), name_(name) {
    write_configuration(configuration);
}

void Wispd_On_Host::write_configuration(const std::string &text) const {
    std::ofstream file(places_.outside(host_, configuration_file()), std::ios::trunc);
    file << text << std::flush;
    if (!file) {
        throw std::runtime_error("wispd's configuration on host " + std::to_string(host_) +
                                 " cannot be written");
    }
}

// A shell redirects its log to a file: nothing reads a pipe while a test waits for something else.
void Wispd_On_Host::launch() {
    process_ =
        places_.run(host_,
                    {"sh", "-c", "log=$1; shift; exec \"$@\" >>\"$log\" 2>&1", "sh", log_file(), BIN + "/wispd",
                     "--config", configuration_file(), "--socket", own_socket(), "--foreground"},
                    {{"HA_DOMAIN_NAME", ""}, {"HA_SYSPAR_NAME", ""}});
}

testing::AssertionResult Wispd_On_Host::start(const Deadline &deadline) {
    const std::size_t said_before = log().size();
    launch();
    const std::string wanted = "listening on " + own_socket() + "\n";
    bool listens = false;
    wait_until(
        [&] {
            listens = log().find(wanted, said_before) != std::string::npos;
            return listens || !process_->running();
        },
        deadline);
    if (!listens) {
        return testing::AssertionFailure() << "wispd did not start on host " << host_ << ":\n" << log();
    }
    return testing::AssertionSuccess();
}

testing::AssertionResult Wispd_On_Host::stop() {
    process_->send_signal(SIGTERM);
    const int status = wait_ended();
    return status == 0 ? testing::AssertionSuccess()
                       : testing::AssertionFailure() << "wispd ended with " << status << ":\n"
                                                     << log();
}

int Wispd_On_Host::wait_ended() {
    const std::optional<Child_End> end = process_->wait();
    return end && end->signal == 0 ? end->exit_status : -1;
}

void Wispd_On_Host::kill() {
    process_->send_signal(SIGKILL);
    process_->wait();
}

std::string Wispd_On_Host::log() const {
    return read_file(places_.outside(host_, log_file()));
}

bool Wispd_On_Host::wait_logged(const std::string &text, const Deadline &deadline) const {
    return wait_until([&] { return log().find(text) != std::string::npos; }, deadline);
}

nlohmann::json Wispd_On_Host::state() const {
    const Finished asked =
        places_.run_to_end(host_, {BIN + "/wispctl", "--control", own_socket() + ".control", "state"});
    if (asked.exit_status != 0) {
        throw std::runtime_error("wispctl state on host " + std::to_string(host_) + ": " + asked.errors);
    }
    return nlohmann::json::parse(asked.output);
}

bool Wispd_On_Host::wait_state(const std::function<bool(const nlohmann::json &)> &holds,
                               const Deadline &deadline) const {
    return wait_until([&] { return holds(state()); }, deadline);
}

nlohmann::json Wispd_On_Host::cluster_file() const {
    const std::string text = read_file(places_.outside(host_, own_socket() + ".cluster"));
    const nlohmann::json file = nlohmann::json::parse(text, nullptr, false);
    return file.is_discarded() ? nlohmann::json() : file;
}

bool Wispd_On_Host::wait_engine_in_file(const std::string &state) const {
    return wait_until([&] {
        const nlohmann::json file = cluster_file();
        return file.is_object() && file.at("engine") == state;
    });
}

// The clock is exact; /proc/PID/stat counts hundredths of a second, and an idle wispd uses few of them in a minute.
double Wispd_On_Host::seconds_used() const {
    clockid_t clock{};
    timespec used{};
    if (clock_getcpuclockid(pid(), &clock) != 0 || clock_gettime(clock, &used) != 0) {
        throw std::runtime_error("the processor time of wispd is unknown");
    }
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9;
}

// ---- Recording ----

Recording::Recording(const Host_Namespaces &places, int host, const std::vector<std::string> &program,
                     const Child_Process::Environment &environment)
    : process_(places.run(host, program, environment)) {}

std::vector<std::string> Recording::new_lines() {
    std::vector<std::string> lines;
    while (std::optional<std::string> line = process_->read_line(Deadline(std::chrono::milliseconds(0)))) {
        lines.push_back(std::move(*line));
    }
    return lines;
}

// ---- Client_On_Host ----

Client_On_Host::Client_On_Host(const Hosts &hosts, int host, const std::string &programs)
    : Client_On_Host(hosts.places(), host, programs, "wisp") {}

Client_On_Host::Client_On_Host(const Host_Namespaces &places, int host, const std::string &programs,
                               const std::string &wispd, bool departures)
    : host_(host), recording_(places, host, {programs + "/recording_client"}, on_socket(wispd)),
      table_(departures) {}

void Client_On_Host::collect() {
    for (const std::string &line : recording_.new_lines()) {
        told_.push_back(told_by(line));
        table_.take(told_.back());
    }
}

std::vector<std::string> Client_On_Host::events_since(std::size_t mark) {
    collect();
    std::vector<std::string> events;
    for (std::size_t i = mark; i < told_.size(); ++i) {
        if (told_[i].sequence != 0 && told_[i].kind != Told::Kind::account) {
            events.push_back(event_text(told_[i]));
        }
    }
    return events;
}

bool Client_On_Host::wait_for(const std::function<bool()> &condition, const Deadline &deadline) {
    return wait_until(
        [&] {
            collect();
            return condition();
        },
        deadline);
}

bool Client_On_Host::wait_up(const std::set<unsigned> &nodes, const std::set<unsigned> &adapters,
                             const Deadline &deadline) {
    return wait_for(
        [&] { return table_.connected() && table_.nodes() == nodes && table_.adapters() == adapters; },
        deadline);
}

std::optional<Told> Client_On_Host::wait_told(std::size_t mark, const std::function<bool(const Told &)> &wanted,
                                              const Deadline &deadline) {
    std::optional<Told> found;
    wait_for(
        [&] {
            const auto told =
                std::find_if(told_.begin() + static_cast<std::ptrdiff_t>(mark), told_.end(), wanted);
            found = told == told_.end() ? std::nullopt : std::optional(*told);
            return found.has_value();
        },
        deadline);
    return found;
}

std::string Client_On_Host::ask(const std::string &command, const std::string &answer) {
    const std::size_t before = mark();
    recording_.order(command);
    const std::optional<Told> told = wait_told(
        before, [&](const Told &line) { return line.line.find(" " + answer + " ") != std::string::npos; });
    return told ? told->line.substr(told->line.find(" " + answer + " ") + answer.size() + 2) : "no answer";
}

std::string Client_On_Host::own_table() {
    return ask("table", "table");
}

std::string Client_On_Host::route(unsigned node) {
    const std::string number = std::to_string(node);
    return ask("routes " + number, "route " + number);
}

std::string Client_On_Host::account() const {
    return "client of host " + std::to_string(host_) + ": nodes " + text_of(table_.nodes()) + ", adapters " +
           text_of(table_.adapters()) + (table_.connected() ? "" : ", not connected");
}

// ---- Observer_On_Host ----

Observer_On_Host::Observer_On_Host(const Hosts &hosts, int host)
    : recording_(hosts.places(), host, {BIN + "/engine_observer"}) {}

void Observer_On_Host::collect() {
    for (const std::string &line : recording_.new_lines()) {
        witness_.take(line);
        lines_.push_back(line);
    }
}

bool Observer_On_Host::wait_for(const std::function<bool()> &condition, const Deadline &deadline) {
    return wait_until(
        [&] {
            collect();
            return condition();
        },
        deadline);
}

} // namespace hb_test
