// SPDX-License-Identifier: Apache-2.0
// The commands and options of a program, read from what its --option-tree prints.
#pragma once

#include <string>
#include <vector>

namespace manual {

struct Option {
    std::vector<std::string> names; // with their dashes; none: an operand
    std::string operand;            // the operand's name
    std::string type;               // of the value; empty: a flag
    std::string help;
    bool required = false;
    std::vector<std::string> words; // the values, if they are a fixed set

    bool is_operand() const { return names.empty(); }
    bool is_flag() const { return type.empty(); }
    const std::string &long_name() const { return names.back(); }
};

struct Option_Group {
    std::string title; // empty: the options outside any group
    std::vector<Option> options;
};

struct Command {
    std::string name;
    std::string group; // the heading that help lists it under
    std::string help;
    std::string footer;
    std::vector<Option_Group> option_groups;
    std::vector<Command> commands;

    std::vector<Option> options() const;
    std::vector<Option> operands() const;
};

// Throws std::exception if the text is not such a tree.
Command parse_tree(const std::string &json);

} // namespace manual
