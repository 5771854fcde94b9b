// SPDX-License-Identifier: Apache-2.0
// Another program, run with pipes as its three standard streams. The destructor ends it.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

#include "tests/support/deadline.h"
#include "tests/support/unique_fd.h"

namespace hb_test {

struct Child_End {
    int exit_status = -1; // if no signal ended it
    int signal = 0;
};

class Child_Process {
  public:
    using Environment = std::vector<std::pair<std::string, std::string>>;

    // arguments[0] is the program, looked up in PATH if it has no slash. The variables are added to this
    // process's environment. Throws if the program cannot be run.
    explicit Child_Process(const std::vector<std::string> &arguments, const Environment &environment = {});
    Child_Process(const Child_Process &) = delete;
    Child_Process &operator=(const Child_Process &) = delete;
    // Kills the program if it still runs.
    ~Child_Process();

    pid_t pid() const { return pid_; }
    void send_signal(int signal) const;
    void write_input(const std::string &text);
    void close_input() { input_.reset(); }

    // Returns the next whole line of the output, without the newline; nothing at the deadline or at the end.
    std::optional<std::string> read_line(const Deadline &deadline = Deadline());
    // Returns the lines up to and including the first that contains the text; false if there was none.
    bool read_until(const std::string &text, const Deadline &deadline = Deadline());
    // Waits for the end of the program and reads the rest of both streams; returns nothing at the deadline.
    std::optional<Child_End> wait(const Deadline &deadline = Deadline());

    // Everything that arrived so far and that read_line has not returned.
    const std::string &output() const { return output_; }
    const std::string &error_output() const { return errors_; }
    bool running();

  private:
    bool pump(const Deadline &deadline);
    bool streams_open() const { return out_ || err_; }
    bool reap(bool block);

    pid_t pid_ = -1;
    std::optional<Child_End> end_;
    Unique_Fd input_, out_, err_;
    std::string output_, errors_;
};

} // namespace hb_test
