// SPDX-License-Identifier: Apache-2.0
// A program of examples/, connected to a wispd of the test.
#pragma once

#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/system/daemon.h"

namespace hb_test {

class Example {
  public:
    // `name` is that of the program, without "example_".
    Example(const Daemon &daemon, const std::string &name, const std::vector<std::string> &arguments = {});
    // Any other program, with the same environment and these variables.
    Example(const Daemon &daemon, const std::vector<std::string> &command,
            const Child_Process::Environment &variables);

    // Returns the next lines; if fewer arrive, the last one is a text in brackets.
    std::vector<std::string> lines(std::size_t count);
    // Returns the next line that contains the text, or a text in brackets.
    std::string line_with(const std::string &text);
    // Returns whether the program ends with this status.
    bool ends_with(int status);

    Child_Process &process() { return process_; }

  private:
    Child_Process process_;
};

} // namespace hb_test
