// SPDX-License-Identifier: Apache-2.0
// Completions of a program's commands and options for the shells. `functions` is the text of the shell's file in
// packaging/completions, which is the same for each program.
#pragma once

#include <string>

#include "tools/manual/program_tree.h"

namespace manual {

std::string bash_completion(const Command &program, const std::string &functions);
std::string zsh_completion(const Command &program, const std::string &functions);
std::string fish_completion(const Command &program, const std::string &functions);

} // namespace manual
