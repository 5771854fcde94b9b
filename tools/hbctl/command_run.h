// SPDX-License-Identifier: Apache-2.0
// One run of a command of the user.
#pragma once

#include <string>
#include <vector>

namespace hbctl {

// Runs the command by the shell, writes the input to its standard input, and waits for its end. The environment is this
// process's, without the event variables, and with the given ones. Returns a complaint; empty if the exit status is 0.
std::string run_shell(const std::string &command, const std::string &input,
                      const std::vector<std::string> &environment);

} // namespace hbctl
