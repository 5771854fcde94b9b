// SPDX-License-Identifier: Apache-2.0
// wispd, its clients and the observer of the engine, inside the hosts of a cluster.
#pragma once

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

struct Engine_Patience {
    int poll_milliseconds = 100;
    int grace_seconds = 10;
};

// A configuration file of wispd for a cluster that the engine reports. More text can be appended.
std::string engine_cluster_file(const Engine_Patience &patience = {}, const std::string &more = {});

// One wispd, in the host's own /run. Its programs come from this build.
class Wispd_On_Host {
  public:
    Wispd_On_Host(const Hosts &hosts, int host, const std::string &configuration = engine_cluster_file());
    // One of several on a host; the name distinguishes their files.
    Wispd_On_Host(const Host_Namespaces &places, int host, const std::string &configuration,
                  const std::string &name);
    Wispd_On_Host(const Wispd_On_Host &) = delete;
    Wispd_On_Host &operator=(const Wispd_On_Host &) = delete;

    static std::string socket(const std::string &name = "wisp") { return "/run/" + name; }

    void write_configuration(const std::string &text) const;
    // Starts wispd without waiting.
    void launch();
    // Starts wispd and waits until clients can connect.
    testing::AssertionResult start(const Deadline &deadline = Deadline());
    // Sends SIGTERM: wispd must exit with 0.
    testing::AssertionResult stop();
    void kill();
    // Waits until wispd ends by itself. Returns the exit status, -1 if there is none.
    int wait_ended();
    bool running() const { return process_ && process_->running(); }
    pid_t pid() const { return process_->pid(); }
    void send_signal(int signal) const { process_->send_signal(signal); }

    // Everything that it has logged, in all its starts.
    std::string log() const;
    bool wait_logged(const std::string &text, const Deadline &deadline = Deadline()) const;
    // The output of "wispctl state".
    nlohmann::json state() const;
    bool wait_state(const std::function<bool(const nlohmann::json &)> &holds,
                    const Deadline &deadline = Deadline()) const;
    // The file with the names of the nodes; null if it is not there.
    nlohmann::json cluster_file() const;
    // Waits until that file says this of the engine.
    bool wait_engine_in_file(const std::string &state) const;
    // Processor time in user and system mode, of all its threads.
    double seconds_used() const;

  private:
    std::string own_socket() const { return socket(name_); }
    std::string configuration_file() const { return own_socket() + "d.toml"; }
    std::string log_file() const { return own_socket() + "d.log"; }

    const Host_Namespaces &places_;
    int host_;
    std::string name_;
    std::unique_ptr<Child_Process> process_;
};

// A program that writes lines as long as it runs.
class Recording {
  public:
    Recording(const Host_Namespaces &places, int host, const std::vector<std::string> &program,
              const Child_Process::Environment &environment = {});

    pid_t pid() const { return process_->pid(); }
    void send_signal(int signal) const { process_->send_signal(signal); }
    void order(const std::string &command) { process_->write_input(command + "\n"); }
    // Returns the lines since the last call, without waiting.
    std::vector<std::string> new_lines();
    bool running() { return process_->running(); }
    std::string errors() const { return process_->error_output(); }

  private:
    std::unique_ptr<Child_Process> process_;
};

// A client that records everything from its start.
class Client_On_Host {
  public:
    // Another directory selects a client of another build.
    Client_On_Host(const Hosts &hosts, int host, const std::string &programs = HB_TEST_BIN_DIR);
    // The client of the wispd of that name.
    Client_On_Host(const Host_Namespaces &places, int host, const std::string &programs,
                   const std::string &wispd, bool departures = false);

    // Reads the new lines.
    void collect();
    const Told_Table &table() const { return table_; }
    const std::vector<Told> &told() const { return told_; }
    // Marks the current position, for tests that check the following events.
    std::size_t mark() {
        collect();
        return told_.size();
    }
    // The events since the mark: deaths, joins and updates, each as "death nodes 2", "join adapters 96 97" or
    // "configuration nodes 1 2 3".
    std::vector<std::string> events_since(std::size_t mark);
    bool wait_for(const std::function<bool()> &condition, const Deadline &deadline = Deadline());
    bool wait_up(const std::set<unsigned> &nodes, const std::set<unsigned> &adapters,
                 const Deadline &deadline = Deadline());
    // The first line since the mark that fulfils the condition; nothing at the deadline.
    std::optional<Told> wait_told(std::size_t mark, const std::function<bool(const Told &)> &wanted,
                                  const Deadline &deadline = Deadline());
    // The program's own table, as "nodes 1 2 adapters 48@1 ...", and its routes, as "10.91.0.1 10.91.0.2".
    std::string own_table();
    std::string route(unsigned node);
    // The members that are up according to its events, for messages.
    std::string account() const;
    int host() const { return host_; }

  private:
    std::string ask(const std::string &command, const std::string &answer);

    int host_;
    Recording recording_;
    Told_Table table_;
    std::vector<Told> told_;
};

class Observer_On_Host {
  public:
    Observer_On_Host(const Hosts &hosts, int host);

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
