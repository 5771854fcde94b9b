// SPDX-License-Identifier: Apache-2.0
// What the value of an option or operand is, as far as a shell can complete it.
#pragma once

#include <string>
#include <vector>

#include "tools/manual/program_tree.h"

namespace manual {

struct Value {
    enum class Kind { unknown, words, files, commands, nodes, adapters, networks, as_the_word_before };
    Kind kind = Kind::unknown;
    std::vector<std::string> words;
    bool is_list = false; // separated by commas

    // Whether the kind's values come from the daemon.
    bool is_member() const {
        return kind == Kind::nodes || kind == Kind::adapters || kind == Kind::networks ||
               kind == Kind::as_the_word_before;
    }
    // For a member: the verb of hbctl that lists them, and the key of their numbers there.
    std::string verb() const;
    std::string key() const;
};

Value value_of(const Option &option);

std::string joined(const std::vector<std::string> &words, const std::string &between);

// One line of help.
std::string first_line(const std::string &help);

// The text with each occurrence of `from` replaced.
std::string replaced(std::string text, const std::string &from, const std::string &to);

// A file's text behind its first comment, which is about the file itself.
std::string without_head(const std::string &text);

} // namespace manual
