// SPDX-License-Identifier: Apache-2.0
// Runs other programs side by side, with limits, and stops them all at a signal.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace hbctl {

// The descriptor of Stop_Signal became readable: the report is to end at once.
struct Interrupted {};

struct Command {
    std::vector<std::string> words; // the first one is a program's path; empty: there is no such program
    std::size_t most_bytes = 0;     // of its output that are kept
    bool keeps_end = false;         // the last bytes, from the beginning of a line, instead of the first ones
    int output = -1;                // a descriptor to write to instead
};

struct Outcome {
    std::string output;
    std::string failure; // empty: the program ended with the status 0
    bool is_cut = false; // there was more output
};

// Starts all commands at once, and returns when the last one has ended. Whatever runs longer than `patience` is killed,
// with its children. Throws Interrupted, and std::system_error if no pipe can be made.
std::vector<Outcome> run_commands(const std::vector<Command> &commands, std::chrono::milliseconds patience,
                                  int stop);

// Returns the path of a program: beside hbctl itself, in PATH, or in the system's directories. Empty: there is none.
std::string find_program(const std::string &name);

} // namespace hbctl
