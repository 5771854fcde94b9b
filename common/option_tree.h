// SPDX-License-Identifier: Apache-2.0
// The command line of a program as data, from which its manual page and its completions are made.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace common {

// Adds the option --option-tree, which no help lists. It prints every command and option as JSON, and ends the program
// as --version does.
void offer_option_tree(CLI::App &app);

// Returns the name of a validator whose option accepts a list of these words: "death, join". A validator has no other
// place for them, because its description is part of the help.
std::string name_of_word_list(const std::string &words);

} // namespace common
