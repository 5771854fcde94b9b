// SPDX-License-Identifier: Apache-2.0
// The programs of this build, and what their --help lists.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace hb_test {

using Names = std::set<std::string>;

struct Documented_Program {
    std::string name;
    std::string section;  // of its page
    std::string document; // in docs/

    std::string path() const;
    std::string page() const; // the text of the page
};

const std::vector<Documented_Program> &documented_programs();

struct Help {
    Names verbs;
    Names options; // with their dashes
};

// What help prints: the commands, and the options of the program or command itself.
Help help_in(const std::string &text);

// Runs the program with these words in front of --help.
Help help_of(const Documented_Program &program, const std::vector<std::string> &words = {});

// Runs a command by the shell, and returns what it prints on both streams; `status` receives its exit status.
std::string output_of(const std::string &command, int *status = nullptr);

std::string text_of_file(const std::string &path);

// Whether there is such a program.
bool can_run(const std::string &program);

} // namespace hb_test
