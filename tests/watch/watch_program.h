// SPDX-License-Identifier: Apache-2.0
// A driver as a child process: the C one, the C++ one or the Python one. Each prints the same lines.
#pragma once

#include <deque>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/child_process.h"
#include "tests/system/setup.h"
#include "tests/watch/replay.h"

namespace hb_test {

// How to start a driver.
struct Driver_Command {
    std::string name; // for the names of tests
    std::vector<std::string> arguments;
    Programs programs; // the build that it belongs to
    Child_Process::Environment environment;
    bool has_requests = true;   // it has the commands control, migrate and follow
    bool can_skip_nodes = true; // it can watch the adapters alone
};

// The drivers of a build: the C one, and those in other languages that were built.
std::vector<Driver_Command> drivers_of(const Programs &programs);
void PrintTo(const Driver_Command &driver, std::ostream *out);

class Watch_Program {
  public:
    Watch_Program(const Driver_Command &driver, const std::vector<std::string> &options,
                  const Child_Process::Environment &environment = {});

    // Sends a command and returns the result in its answer. Reports that arrive before it are kept. If no answer
    // arrives, the result says so.
    std::string ask(const std::string &command, const Deadline &deadline = Deadline());
    // Sends a command and does not wait.
    void order(const std::string &command);
    // Returns the result of an answer to an earlier order.
    std::string answer_to(const std::string &command, const Deadline &deadline = Deadline());

    // Returns the next report, in the order of arrival; nothing at the deadline.
    std::optional<Report> next(const Deadline &deadline = Deadline());
    // Reads reports until the condition holds.
    bool read_until(const std::function<bool(const Replay &)> &condition,
                    const Deadline &deadline = Deadline());
    // Reads what has arrived.
    void drain();

    // What next and read_until have returned so far.
    const Replay &replay() const { return replay_; }
    Replay &replay() { return replay_; }

    // Ends it: it must close the watch and exit with 0.
    testing::AssertionResult end();
    pid_t pid() const { return process_.pid(); }
    bool running() { return process_.running(); }
    std::string error_output() const { return process_.error_output(); }

  private:
    std::optional<std::string> line(const Deadline &deadline);
    Report take_first();

    Child_Process process_;
    std::deque<Report> waiting_;
    std::vector<std::pair<std::string, std::string>> answers_; // command and result
    Replay replay_;
};

} // namespace hb_test
