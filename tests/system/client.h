// The client program, run as a child process, and several of them at once.
#ifndef HB_TEST_SYSTEM_CLIENT_H
#define HB_TEST_SYSTEM_CLIENT_H

#include <memory>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/deadline.h"
#include "tests/system/daemon.h"

namespace hb_test {

class Client {
  public:
    // The commands are obeyed first; client_program.cpp lists them.
    Client(const Programs &programs, const std::string &socket, const std::vector<std::string> &commands = {},
           const ChildProcess::Environment &environment = {});

    void order(const std::string &command) { process_.write_input(command + "\n"); }
    // The next line it prints; a text in brackets when there is none. Failure identifiers that wispd made up
    // appear as #1, #2 and so on, the same one always under the same number.
    std::string line();
    // That many lines; fewer, the last one in brackets, when no more came.
    std::vector<std::string> lines(std::size_t count);
    // Up to and with this line; ends with a text in brackets when it never came.
    std::vector<std::string> lines_until(const std::string &last);
    // An order, and the next line.
    std::string ask(const std::string &command);

    // How long to wait for a line, where a minute might not do.
    void set_patience(std::chrono::seconds patience) { patience_ = patience; }

    void stop_it() { process_.send_signal(SIGSTOP); }
    void continue_it() { process_.send_signal(SIGCONT); }
    pid_t pid() const { return process_.pid(); }
    // Ends it; true when it ended well.
    bool end();

  private:
    std::string with_short_id(const std::string &line);

    std::string abi_;
    ChildProcess process_;
    std::chrono::seconds patience_ = GENEROUS;
    std::vector<std::string> ids_;
};

using Clients = std::vector<std::unique_ptr<Client>>;

// One client for each entry of the setup.
Clients start_clients(const Setup &setup, const Daemon &daemon, const std::vector<std::string> &commands);

// Each of them has to print these lines next.
void expect_lines(Clients &clients, const std::vector<std::string> &lines);
void order_all(Clients &clients, const std::string &command);
void expect_good_ends(Clients &clients);

} // namespace hb_test

#endif
