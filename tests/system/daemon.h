// SPDX-License-Identifier: Apache-2.0
// The real wispd, run as a child process in its own directory.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/deadline.h"
#include "tests/support/temp_dir.h"
#include "tests/system/setup.h"

namespace hb_test {

// The ids for the keys of a socket: three segments, then the semaphore set; -1 if there is none.
using Ipc_Ids = std::array<int, 4>;
Ipc_Ids ipc_ids_of(const std::string &socket);
// Returns one text for each id that still exists.
std::vector<std::string> existing(const Ipc_Ids &ids);

class Daemon {
  public:
    // Does not start wispd yet. The configuration is written to the file cluster.toml.
    Daemon(const Programs &programs, const std::string &configuration);
    Daemon(const Daemon &) = delete;
    Daemon &operator=(const Daemon &) = delete;
    // Ends wispd and removes everything that it left.
    ~Daemon();

    // Additional variables for the next start.
    void set_environment(const Child_Process::Environment &environment) { environment_ = environment; }
    // Gives the socket this name in the directory; wispd must find it from its environment.
    void name_socket_by_environment(const std::string &name) {
        socket_name_ = name;
        name_socket_ = false;
    }

    // Starts wispd and waits until clients can connect.
    testing::AssertionResult start(const Deadline &deadline = Deadline());
    // Sends SIGTERM: wispd must exit with 0 and leave nothing behind.
    testing::AssertionResult stop();
    // Waits for the end of a wispd that was stopped in another way, and checks for leftovers.
    testing::AssertionResult wait_stopped();
    void kill();
    void send_signal(int signal) const { process_->send_signal(signal); }
    bool running() const { return process_ && process_->running(); }

    // Writes a file into its directory.
    void write_file(const std::string &name, const std::string &text) const;
    void write_configuration(const std::string &text) const { write_file("cluster.toml", text); }

    // Sends one line to the control socket and returns the line of the answer.
    std::string tell(const std::string &json);
    // The same; the command must succeed.
    testing::AssertionResult tells(const std::string &json);

    pid_t pid() const { return process_->pid(); }
    const Programs &programs() const { return programs_; }
    const std::string &directory() const { return directory_.path(); }
    std::string file(const std::string &name) const { return directory_.file(name); }
    std::string socket() const { return directory_.file(socket_name_); }
    std::string control() const { return directory_.file(socket_name_ + ".control"); }
    std::string configuration_file() const { return directory_.file("cluster.toml"); }
    Ipc_Ids ipc_ids() const { return ipc_ids_of(socket()); }

    // Everything that it has printed and logged so far, in all its starts.
    std::string log() const;
    bool wait_logged(const std::string &text) const;

    int open_descriptors() const;
    long resident_kilobytes() const;

    // The files in the directory, except the log and those that the test wrote.
    std::vector<std::string> files_left() const;

  private:
    testing::AssertionResult nothing_left(const Ipc_Ids &ids, pid_t pid) const;

    Programs programs_;
    Temp_Dir directory_;
    Child_Process::Environment environment_;
    std::string socket_name_ = "s";
    bool name_socket_ = true; // on the command line
    mutable std::vector<std::string> own_files_{"log"};
    std::unique_ptr<Child_Process> process_;
    std::vector<Ipc_Ids> seen_ids_; // of every start, to be removed at the end if necessary
    std::vector<pid_t> pids_;
};

} // namespace hb_test
