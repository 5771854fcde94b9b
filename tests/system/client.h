// SPDX-License-Identifier: Apache-2.0
// The client program, run as a child process; also several of them at once.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/deadline.h"
#include "tests/system/daemon.h"

namespace hb_test {

class Client {
  public:
    // The program runs these commands first; client_program.cpp lists them.
    Client(const Programs &programs, const std::string &socket, const std::vector<std::string> &commands = {},
           const Child_Process::Environment &environment = {});

    void order(const std::string &command) { process_.write_input(command + "\n"); }
    // Returns the next line that it prints; a text in brackets if there is none. Failure identifiers made by
    // wispd appear as #1, #2 and so on; the same identifier always has the same number.
    std::string line();
    // Returns that many lines. If no more arrive, there are fewer and the last one is in brackets.
    std::vector<std::string> lines(std::size_t count);
    // Returns the lines up to and including this one; ends with a text in brackets if it never arrives.
    std::vector<std::string> lines_until(const std::string &last);
    // Sends a command and returns the next line.
    std::string ask(const std::string &command);

    // How long to wait for a line, for tests that need more than a minute.
    void set_patience(std::chrono::seconds patience) { patience_ = patience; }

    void stop_it() { process_.send_signal(SIGSTOP); }
    void continue_it() { process_.send_signal(SIGCONT); }
    pid_t pid() const { return process_.pid(); }
    // Ends the program. Returns whether it ended successfully.
    bool end();

  private:
    std::string with_short_id(const std::string &line);

    std::string abi_;
    Child_Process process_;
    std::chrono::seconds patience_ = GENEROUS;
    std::vector<std::string> ids_;
};

using Clients = std::vector<std::unique_ptr<Client>>;

// One client for each entry of the setup.
Clients start_clients(const Setup &setup, const Daemon &daemon, const std::vector<std::string> &commands);

// Each of the clients must print these lines next.
void expect_lines(Clients &clients, const std::vector<std::string> &lines);
void order_all(Clients &clients, const std::string &command);
void expect_good_ends(Clients &clients);

} // namespace hb_test
