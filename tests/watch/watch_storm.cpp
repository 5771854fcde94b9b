// SPDX-License-Identifier: Apache-2.0
#include "tests/watch/watch_storm.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <numeric>
#include <ostream>

#include "tests/support/records.h"
#include "tests/system/service_client.h"

namespace hb_test {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

// Of the local node, so that no other fault changes it. It is changed at each quiet moment: when that is reported, all
// that happened before has been reported, too.
constexpr unsigned MARKER = Cluster_Truth::SLOTS + 1;

constexpr unsigned LAST_NODE = 6;
constexpr unsigned FAULTS_OF_A_RUN = 50;
constexpr unsigned FAULTS_AFTER_A_MOVE = 12;
constexpr double QUIET_AFTER_A_FAULT = 0.3;
constexpr seconds PATIENCE{40};
constexpr long long LONGEST_CALL =
    1500000; // microseconds, on a busy machine; a suspended daemon stays so for longer

std::set<unsigned> all_nodes() {
    std::set<unsigned> nodes;
    for (unsigned node = 1; node <= LAST_NODE; ++node) {
        nodes.insert(node);
    }
    return nodes;
}

std::string words_of(const std::set<unsigned> &members, const std::set<unsigned> &up) {
    std::string text;
    for (const unsigned member : members) {
        text += std::to_string(member) + (up.contains(member) ? ":1," : ":2,");
    }
    return text;
}

long long number_after(const std::string &text, const std::string &name) {
    const std::size_t at = text.find(name + "=");
    return at == std::string::npos ? -1 : std::stoll(text.substr(at + name.size() + 1));
}

} // namespace

struct Watch_Storm::Stage {
    Stage(const Programs &programs, const Driver_Command &driver, const std::string &loop)
        : daemon(programs, truth.file()), proxy(daemon.socket()) {
        std::ofstream(service_files.file("cluster.toml")) << service.file();
        Child_Process::Environment environment =
            driver.has_requests ? service_preloaded(driver.programs) : Child_Process::Environment();
        environment.insert(environment.end(), {{"HB_SERVER_SOCKET", daemon.socket()},
                                               {"HA_DOMAIN_NAME", ""},
                                               {"HA_SYSPAR_NAME", ""},
                                               {"HB_MOX_SIM_CONFIG", service_files.file("cluster.toml")},
                                               {"HB_MOX_SIM_CONTROL", service_files.file("c")}});
        watch = std::make_unique<Watch_Program>(
            driver,
            std::vector<std::string>{"--socket=" + proxy.path(), "--check=200", "--answer=1500", "--min=5",
                                     "--max=100", "--loop=" + loop},
            environment);
    }

    // Can the daemon obey now?
    bool obeys() const { return runs && !suspended; }

    Cluster_Truth truth{all_nodes()};
    Cluster_Truth service{all_nodes()};
    Daemon daemon;
    Link_Proxy proxy;
    Temp_Dir service_files;
    std::unique_ptr<Watch_Program> watch;
    std::unique_ptr<Stream> postponed; // commands for a suspended daemon
    unsigned postponed_commands = 0;
    bool runs = false;
    bool suspended = false;
    bool held = false;
    bool damaged = true; // since the last quiet moment, other things happened than changes
    bool by_service = false;
    bool has_requests = true;
    unsigned losses = 0; // at the last quiet moment
    std::vector<std::string> history;
};

unsigned Watch_Storm_Outcome::all_faults() const {
    return std::accumulate(faults.begin(), faults.end(), 0U,
                           [](unsigned sum, const auto &kind) { return sum + kind.second; });
}

Watch_Storm::Watch_Storm(const Programs &programs, std::vector<Driver_Command> drivers, unsigned seed,
                         std::ostream *progress)
    : programs_(programs), drivers_(std::move(drivers)), progress_(progress), random_(seed) {}

Watch_Storm::~Watch_Storm() = default;

// ---- The course ----

Watch_Storm_Outcome Watch_Storm::run(unsigned faults) {
    const auto began = steady_clock::now();
    for (unsigned number = 0; outcome_.all_faults() < faults && outcome_.good(); ++number) {
        run_once(number, std::min(FAULTS_OF_A_RUN, faults - outcome_.all_faults()));
    }
    outcome_.seconds = std::chrono::duration<double>(steady_clock::now() - began).count();
    return outcome_;
}

void Watch_Storm::run_once(unsigned number, unsigned faults) {
    begin(number);
    const bool moves =
        drivers_[number % drivers_.size()].has_requests && number % 2 == 0 && faults > FAULTS_AFTER_A_MOVE;
    const std::vector<Fault> table = all_faults();
    for (unsigned i = 0; i < (moves ? faults - FAULTS_AFTER_A_MOVE : faults) && outcome_.good(); ++i) {
        make_one(table);
    }
    settle();
    if (moves && outcome_.good()) {
        move_to_service();
        const std::vector<Fault> after = faults_of_service();
        for (unsigned i = 1; i < FAULTS_AFTER_A_MOVE && outcome_.good(); ++i) {
            make_one(after);
        }
        settle();
    }
    finish();
}

void Watch_Storm::begin(unsigned number) {
    const Driver_Command &driver = drivers_[number % drivers_.size()];
    const std::string loop = number / drivers_.size() % 2 == 0 ? "poll" : "wait";
    stage_ = std::make_unique<Stage>(programs_, driver, loop);
    stage_->has_requests = driver.has_requests;
    note("run " + std::to_string(number) + " with the driver " + driver.name + ", loop " + loop);
    ++outcome_.runs;
    if (!chance(0.3)) { // otherwise the watch begins without a daemon
        start_daemon();
    }
}

void Watch_Storm::finish() {
    Watch_Program &watch = *stage_->watch;
    watch.drain();
    forget_changes();
    const std::string times = watch.ask("times");
    outcome_.longest_next = std::max(outcome_.longest_next, number_after(times, "next"));
    outcome_.longest_excess = std::max(outcome_.longest_excess, number_after(times, "excess"));
    if (number_after(times, "next") > LONGEST_CALL || number_after(times, "excess") > LONGEST_CALL ||
        number_after(times, "calls") <= 0) {
        complain("a call lasted too long: " + times);
    }
    for (const Report &report : watch.replay().reports()) {
        const std::string first = report.text.substr(0, report.text.find(' '));
        ++outcome_.reports[report.joined()                            ? first + " joined"
                           : report.died()                            ? first + " died"
                           : report.kind == Report::Kind::unreachable ? report.text
                                                                      : first];
    }
    if (const testing::AssertionResult ended = watch.end(); !ended) {
        complain(ended.message());
    }
    stage_.reset(); // a daemon that the move has not ended ends here
}

void Watch_Storm::make_one(const std::vector<Fault> &faults) {
    std::vector<const Fault *> possible;
    std::vector<double> weights;
    for (const Fault &fault : faults) {
        if (fault.possible()) {
            possible.push_back(&fault);
            weights.push_back(fault.weight);
        }
    }
    const Fault &fault =
        *possible[std::discrete_distribution<std::size_t>(weights.begin(), weights.end())(random_)];
    note(fault.kind);
    ++outcome_.faults[fault.kind];
    fault.make();
    stage_->watch->drain();
    if (chance(0.4)) { // so that the next fault finds the watch in the midst of its work, or after it
        stage_->watch->read_until([](const Replay &) { return false; },
                                  Deadline(std::chrono::milliseconds(below(60))));
    }
    if (chance(QUIET_AFTER_A_FAULT)) {
        settle();
    }
}

void Watch_Storm::note(const std::string &what) {
    stage_->history.push_back(what);
    if (progress_ != nullptr) {
        *progress_ << outcome_.all_faults() << ": " << what << std::endl;
    }
}

void Watch_Storm::complain(const std::string &what) {
    std::string text = what + "\nwhat happened:";
    const std::size_t count = stage_->history.size();
    for (std::size_t i = count > 25 ? count - 25 : 0; i < count; ++i) {
        text += "\n    " + stage_->history[i];
    }
    text += "\nthe last reports:";
    const std::vector<Report> &reports = stage_->watch->replay().reports();
    for (std::size_t i = reports.size() > 40 ? reports.size() - 40 : 0; i < reports.size(); ++i) {
        text += "\n    " + reports[i].text;
    }
    outcome_.complaints.push_back(text);
}

// ---- Quiet moments ----

void Watch_Storm::mend() {
    Stage &stage = *stage_;
    if (stage.by_service) {
        return;
    }
    if (stage.suspended) {
        continue_daemon();
    }
    if (!stage.runs) {
        start_daemon();
    }
    stage.held = false;
    stage.proxy.be_transparent();
}

bool Watch_Storm::agree() {
    const bool agrees = stage_->watch->read_until(
        [&](const Replay &replay) { return replay.current() && replay.who() == stage_->truth.who(); },
        Deadline(PATIENCE));
    if (!agrees) {
        const Replay &replay = stage_->watch->replay();
        complain("the reports do not become the truth\nreported: " + in_words(replay.who()) +
                 (replay.current() ? ", current" : ", not current") +
                 "\nthe truth: " + in_words(stage_->truth.who()));
    }
    return agrees;
}

void Watch_Storm::toggle_marker() {
    const bool up = stage_->truth.who().adapters.contains(MARKER);
    command(up ? "adapter-down" : "adapter-up", "adapter", MARKER);
}

void Watch_Storm::settle() {
    note("quiet");
    mend();
    // A dropped event is noticed with the next one.
    toggle_marker();
    if (!agree()) {
        return;
    }
    toggle_marker();
    if (agree()) {
        compare();
    }
}

void Watch_Storm::compare() {
    ++outcome_.quiet_moments;
    for (const std::string &complaint : stage_->watch->replay().complaints()) {
        complain(complaint);
    }
    compare_changes();
    compare_answers();
    stage_->damaged = stage_->by_service; // there, changes that cancel out need not be reported
    stage_->losses = stage_->watch->replay().losses();
}

// No change is invented. Without damage each change is reported by itself. The service's events of several kinds overtake
// each other, so changes of an earlier quiet moment can still be on their way: they count until the end.
void Watch_Storm::compare_changes() {
    Replay::Changes reported = stage_->watch->replay().changes();
    const Replay::Changes &made = stage_->truth.changes();
    const bool exact = !stage_->damaged && stage_->watch->replay().losses() == stage_->losses;
    for (const auto &[member, count] : made) {
        if (reported[member] > count || (exact && reported[member] != count)) {
            complain(member + " changed " + std::to_string(count) + " times, and " +
                     std::to_string(reported[member]) + " changes were reported");
        }
        reported.erase(member);
    }
    for (const auto &[member, count] : reported) {
        complain(member + " did not change, and " + std::to_string(count) + " changes were reported");
    }
    outcome_.exact += exact ? 1 : 0;
    if (!stage_->by_service) {
        forget_changes();
    }
}

void Watch_Storm::forget_changes() {
    for (const auto &[member, count] : stage_->truth.changes()) {
        outcome_.changes += count;
    }
    stage_->watch->replay().forget_changes();
    stage_->truth.forget_changes();
}

std::string Watch_Storm::expected_answer() const {
    const Cluster_Truth &truth = stage_->truth;
    const Who who = truth.who();
    return "current=1 local=1 nodes=" + words_of(truth.nodes(), who.nodes) +
           " adapters=" + words_of(truth.adapters(), who.adapters) + " networks=";
}

// An event of the service can still be on its way. It changes the answer for a moment, and then the truth returns.
void Watch_Storm::compare_answers() {
    const std::string expected = expected_answer();
    const Deadline deadline(PATIENCE);
    std::string answer = stage_->watch->ask("state");
    while (stage_->by_service && !answer.starts_with(expected) && !deadline.over()) {
        stage_->watch->next(Deadline(std::chrono::milliseconds(100)));
        answer = stage_->watch->ask("state");
    }
    if (!answer.starts_with(expected)) {
        complain("the watch answers\n    " + answer + "\ninstead of\n    " + expected);
    }
}

// ---- Changes of the cluster ----

void Watch_Storm::apply(const std::string &verb, unsigned number) {
    using Change = void (Cluster_Truth::*)(unsigned);
    static const std::map<std::string, Change> changes = {
        {"node-down", &Cluster_Truth::node_down},         {"node-up", &Cluster_Truth::node_up},
        {"node-leave", &Cluster_Truth::node_leave},       {"node-join", &Cluster_Truth::node_join},
        {"adapter-down", &Cluster_Truth::adapter_down},   {"adapter-up", &Cluster_Truth::adapter_up},
        {"adapter-leave", &Cluster_Truth::adapter_leave}, {"adapter-join", &Cluster_Truth::adapter_join},
    };
    (stage_->truth.*changes.at(verb))(number);
}

void Watch_Storm::command(const std::string &verb, const std::string &key, unsigned number) {
    note("    " + verb + " " + std::to_string(number));
    const std::string json = R"({"do":")" + verb + R"(",")" + key + "\":" + std::to_string(number) + "}";
    apply(verb, number);
    if (stage_->suspended) { // one connection keeps the order
        if (!stage_->postponed) {
            stage_->postponed = std::make_unique<Stream>(stage_->daemon.control());
        }
        stage_->postponed->send(json + "\n");
        ++stage_->postponed_commands;
        return;
    }
    const Stream stream(stage_->by_service ? stage_->service_files.file("c") : stage_->daemon.control());
    stream.send(json + "\n");
    if (const std::string answer = stream.read_line(); answer != R"({"ok":true})") {
        complain(json + " was answered with " + answer);
    }
}

void Watch_Storm::change_node(unsigned node) {
    const Cluster_Truth &truth = stage_->truth;
    if (!truth.nodes().contains(node)) {
        if (truth.nodes_of_file().contains(node)) {
            command("node-join", "node", node);
        }
    } else if (chance(0.25)) {
        command("node-leave", "node", node);
    } else {
        command(truth.who().nodes.contains(node) ? "node-down" : "node-up", "node", node);
    }
}

void Watch_Storm::change_adapter(unsigned adapter) {
    const Cluster_Truth &truth = stage_->truth;
    if (!truth.nodes().contains(adapter / Cluster_Truth::SLOTS)) {
        return;
    }
    if (!truth.adapters().contains(adapter)) {
        command("adapter-join", "adapter", adapter);
    } else if (adapter % 2 == 1 && chance(0.25)) {
        command("adapter-leave", "adapter", adapter); // the node keeps its other one
    } else {
        command(truth.who().adapters.contains(adapter) ? "adapter-down" : "adapter-up", "adapter", adapter);
    }
}

void Watch_Storm::change_one() {
    const unsigned node = 2 + below(LAST_NODE - 1);
    if (chance(0.5)) {
        change_node(node);
    } else {
        change_adapter(node * Cluster_Truth::SLOTS + below(2));
    }
}

// A node or an adapter dies and returns at once.
void Watch_Storm::flap() {
    const Who who = stage_->truth.who();
    for (const unsigned node : who.nodes) {
        if (node != 1 && chance(0.4)) {
            command("node-down", "node", node);
            command("node-up", "node", node);
            return;
        }
    }
    for (const unsigned adapter : who.adapters) {
        if (adapter != MARKER && chance(0.3)) {
            command("adapter-down", "adapter", adapter);
            command("adapter-up", "adapter", adapter);
            return;
        }
    }
}

void Watch_Storm::new_file() {
    std::set<unsigned> nodes{1};
    while (nodes.size() < 3) {
        for (unsigned node = 2; node <= LAST_NODE; ++node) {
            if (chance(0.8)) {
                nodes.insert(node);
            }
        }
    }
    stage_->truth.set_file(nodes);
    stage_->daemon.write_configuration(stage_->truth.file());
}

void Watch_Storm::reload() {
    new_file();
    stage_->truth.reload();
    if (const testing::AssertionResult done = stage_->daemon.tells(R"({"do":"reconfigure"})"); !done) {
        complain(done.message());
    }
}

// ---- The daemon ----

void Watch_Storm::start_daemon() {
    stage_->truth.restart();
    if (const testing::AssertionResult started = stage_->daemon.start(); !started) {
        complain(started.message());
    }
    stage_->runs = true;
    stage_->damaged = true;
}

void Watch_Storm::continue_daemon() {
    stage_->daemon.send_signal(SIGCONT);
    stage_->suspended = false;
    for (; stage_->postponed_commands > 0; --stage_->postponed_commands) {
        if (const std::string answer = stage_->postponed->read_line(); answer != R"({"ok":true})") {
            complain("a command that waited was answered with " + answer);
        }
    }
    stage_->postponed.reset();
}

// The watch has to notice it.
void Watch_Storm::suspend_for_long() {
    const unsigned losses = stage_->watch->replay().losses();
    const bool had_contact = stage_->watch->replay().current();
    stage_->daemon.send_signal(SIGSTOP);
    stage_->suspended = true;
    const auto noticed = [&](const Replay &replay) { return !had_contact || replay.losses() > losses; };
    if (!stage_->watch->read_until(noticed, Deadline(PATIENCE))) {
        complain("a suspended daemon was not noticed");
    }
    change_one();
}

// ---- The program ----

void Watch_Storm::control_requests() {
    constexpr unsigned rounds = 20;
    stage_->watch->order("control " + std::to_string(rounds));
    const unsigned changes = 1 + below(4);
    for (unsigned i = 0; i < changes; ++i) {
        change_one();
    }
    const std::string answer = stage_->watch->answer_to("control");
    // The first round finds that an earlier daemon has ended.
    if (number_after(answer, "done") + 1 < rounds) {
        complain("control requests failed: " + answer);
    }
}

void Watch_Storm::fill_backlog() {
    stage_->watch->ask("pause");
    for (unsigned i = 0; i < 60; ++i) {
        change_one();
    }
    stage_->watch->ask("resume");
}

// The service differs from the daemon then, and the watch has to report the difference.
void Watch_Storm::change_service_alone() {
    Stage &stage = *stage_;
    std::swap(stage.truth, stage.service);
    stage.by_service = true;
    // A service that does not know a node of the daemon is rejected, so no node leaves here.
    for (unsigned node = 2; node <= LAST_NODE; ++node) {
        if (chance(0.2)) {
            command("node-down", "node", node);
        } else if (chance(0.2)) {
            command("adapter-down", "adapter", node * Cluster_Truth::SLOTS + below(2));
        }
    }
    stage.by_service = false;
    std::swap(stage.truth, stage.service);
}

void Watch_Storm::move_to_service() {
    Stage &stage = *stage_;
    note("move to the cluster service");
    ++outcome_.faults["move to the cluster service"];
    ++outcome_.moves;
    change_service_alone();
    const std::string way = chance(0.5) ? "migrate" : "follow";
    if (const std::string result = stage.watch->ask(way); result != "ok") {
        complain(way + ": " + result);
        return;
    }
    stage.by_service = true;
    stage.damaged = true;
    stage.truth.become(stage.service);
    settle();
}

// ---- The faults ----

std::vector<Watch_Storm::Fault> Watch_Storm::faults_of_service() {
    const auto always = [] { return true; };
    return {{"change by the service", 3, always, [this] { change_one(); }},
            {"death and join at once by the service", 1, always, [this] { flap(); }}};
}

std::vector<Watch_Storm::Fault> Watch_Storm::all_faults() {
    Stage &stage = *stage_;
    const auto runs = [&stage] { return stage.runs; };
    const auto obeys = [&stage] { return stage.obeys(); };
    const auto damage = [&stage](const std::function<void()> &how) {
        return [&stage, how] {
            stage.damaged = true;
            how();
        };
    };
    const auto always = [] { return true; };
    const auto kill = [&stage] {
        stage.daemon.kill();
        stage.runs = stage.suspended = false;
        stage.postponed.reset();
        stage.postponed_commands = 0;
    };
    const auto stop = [this, &stage] {
        if (const testing::AssertionResult stopped = stage.daemon.stop(); !stopped) {
            complain(stopped.message());
        }
        stage.runs = false;
    };
    return {
        {"change", 6, runs, [this] { change_one(); }},
        {"several changes at once", 3, runs,
         [this] {
             for (unsigned i = 0; i < 5; ++i) {
                 change_one();
             }
         }},
        {"death and join at once", 4, runs, [this] { flap(); }},
        {"configuration reload", 4, obeys, [this] { reload(); }},
        {"control requests", 3, [&stage] { return stage.obeys() && stage.has_requests; },
         [this] { control_requests(); }},
        {"program that does not read", 1, obeys, damage([this] { fill_backlog(); })},
        {"daemon stopped in good order", 1, obeys, damage(stop)},
        {"daemon killed", 1.5, runs, damage(kill)},
        {"daemon restarted", 2, obeys, damage([this, stop] {
             stop();
             start_daemon();
         })},
        {"daemon killed and started", 2, obeys, damage([this, kill] {
             kill();
             start_daemon();
         })},
        {"daemon started with another configuration", 2, [&stage] { return !stage.runs; }, damage([this] {
             new_file();
             start_daemon();
         })},
        {"daemon suspended", 1.5, obeys, damage([&stage] {
             stage.daemon.send_signal(SIGSTOP);
             stage.suspended = true;
         })},
        {"daemon suspended until that is noticed", 1.2, [&stage] { return stage.obeys() && !stage.held; },
         damage([this] { suspend_for_long(); })},
        {"daemon continued", 3, [&stage] { return stage.suspended; }, damage([this] { continue_daemon(); })},
        {"connection cut at a random byte", 5, always,
         damage([this, &stage] { stage.proxy.cut_after(below(1500)); })},
        {"connection cut at once", 2, always, damage([&stage] { stage.proxy.cut_after(0); })},
        {"connection refused", 1, always, damage([&stage] { stage.proxy.refuse(true); })},
        {"connection accepted", 2, always, damage([&stage] { stage.proxy.refuse(false); })},
        {"connection that carries nothing", 1, always, damage([&stage] {
             stage.held = true;
             stage.proxy.hold(true);
         })},
        {"connection that carries again", 2, [&stage] { return stage.held; }, damage([&stage] {
             stage.held = false;
             stage.proxy.hold(false);
         })},
        {"one byte at a time", 1, always, damage([&stage] { stage.proxy.trickle(true); })},
        {"events dropped", 4, runs, damage([this, &stage] {
             stage.proxy.drop(1 + below(3));
             if (stage.suspended || chance(0.6)) {
                 change_one();
             } else {
                 reload();
             }
         })},
        {"events doubled", 3, runs, damage([this, &stage] {
             stage.proxy.duplicate(1 + below(3));
             change_one();
         })},
        {"events exchanged", 3, runs, damage([this, &stage] {
             stage.proxy.swap();
             change_one();
             change_one();
         })},
        {"record of an unknown kind", 1, always, damage([&stage] { stage.proxy.insert(frame(reply(99))); })},
        {"record without a header", 1, always,
         damage([&stage] { stage.proxy.insert(frame(Bytes().zeros(50))); })},
    };
}

} // namespace hb_test
