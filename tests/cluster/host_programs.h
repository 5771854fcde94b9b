// wispd, its clients and the observer of the engine, inside the hosts of a cluster.
#ifndef HB_TEST_CLUSTER_HOST_PROGRAMS_H
#define HB_TEST_CLUSTER_HOST_PROGRAMS_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/cluster/explanation.h"
#include "tests/cluster/hosts.h"
#include "tests/cluster/told.h"
#include "tests/cluster/witness.h"

namespace hb_test {

struct EnginePatience {
    int poll_milliseconds = 100;
    int grace_seconds = 10;
};

// A configuration file of wispd for a cluster that the engine tells. More of the file can follow.
std::string engine_cluster_file(const EnginePatience &patience = {}, const std::string &more = {});

// One wispd, in the host's own /run. Its programs come from this build.
class WispdOnHost {
  public:
    WispdOnHost(const Hosts &hosts, int host, const std::string &configuration = engine_cluster_file());
    WispdOnHost(const WispdOnHost &) = delete;
    WispdOnHost &operator=(const WispdOnHost &) = delete;

    static std::string socket() { return "/run/wisp"; }

    void write_configuration(const std::string &text) const;
    // Starts it, and does not wait.
    void launch();
    // Starts it and waits until clients can connect.
    testing::AssertionResult start(const Deadline &deadline = Deadline());
    // SIGTERM: it has to end with 0.
    testing::AssertionResult stop();
    void kill();
    // Waits for its end by itself; the exit status, -1 when there is none.
    int wait_ended();
    bool running() const { return process_ && process_->running(); }
    pid_t pid() const { return process_->pid(); }
    void send_signal(int signal) const { process_->send_signal(signal); }

    // All that it has logged, over all its starts.
    std::string log() const;
    bool wait_logged(const std::string &text, const Deadline &deadline = Deadline()) const;
    // What "wispctl state" prints.
    nlohmann::json state() const;
    bool wait_state(const std::function<bool(const nlohmann::json &)> &holds,
                    const Deadline &deadline = Deadline()) const;
    // Of the processor, in user and system mode, by all of its threads.
    double seconds_used() const;

  private:
    const Hosts &hosts_;
    int host_;
    std::unique_ptr<ChildProcess> process_;
};

// A program that writes down lines for as long as it runs.
class Recording {
  public:
    Recording(const Hosts &hosts, int host, const std::vector<std::string> &program,
              const ChildProcess::Environment &environment = {});

    pid_t pid() const { return process_->pid(); }
    void send_signal(int signal) const { process_->send_signal(signal); }
    void order(const std::string &command) { process_->write_input(command + "\n"); }
    // The lines that came since the last call; waits for none.
    std::vector<std::string> new_lines();
    bool running() { return process_->running(); }
    std::string errors() const { return process_->error_output(); }

  private:
    std::unique_ptr<ChildProcess> process_;
};

// A client that records everything from its start on.
class ClientOnHost {
  public:
    // Another directory: a client of another build.
    ClientOnHost(const Hosts &hosts, int host, const std::string &programs = HB_TEST_BIN_DIR);

    // Takes in what came.
    void collect();
    const ToldTable &table() const { return table_; }
    const std::vector<Told> &told() const { return told_; }
    // From here on, for tests that look at what comes next.
    std::size_t mark() {
        collect();
        return told_.size();
    }
    // The events since then, deaths, joins and updates, each as "death nodes 2", "join adapters 96 97",
    // "configuration nodes 1 2 3".
    std::vector<std::string> events_since(std::size_t mark);
    bool wait_for(const std::function<bool()> &condition, const Deadline &deadline = Deadline());
    bool wait_up(const std::set<unsigned> &nodes, const std::set<unsigned> &adapters,
                 const Deadline &deadline = Deadline());
    // The first line since then that fulfils it; nothing at the deadline.
    std::optional<Told> wait_told(std::size_t mark, const std::function<bool(const Told &)> &wanted,
                                  const Deadline &deadline = Deadline());
    // The program's own table, as "nodes 1 2 adapters 48@1 ...", and its routes, as "10.91.0.1 10.91.0.2".
    std::string own_table();
    std::string route(unsigned node);
    // Who is up by what it was told, for messages.
    std::string account() const;
    int host() const { return host_; }

  private:
    std::string ask(const std::string &command, const std::string &answer);

    int host_;
    Recording recording_;
    ToldTable table_;
    std::vector<Told> told_;
};

class ObserverOnHost {
  public:
    ObserverOnHost(const Hosts &hosts, int host);

    void collect();
    const Witness &witness() const { return witness_; }
    const std::vector<std::string> &lines() const { return lines_; }
    bool wait_for(const std::function<bool()> &condition, const Deadline &deadline = Deadline());

  private:
    Recording recording_;
    Witness witness_;
    std::vector<std::string> lines_;
};

// "1 2 3".
std::string text_of(const std::set<unsigned> &numbers);

} // namespace hb_test

#endif
