// SPDX-License-Identifier: Apache-2.0
// The part of Markdown that the documents use, as blocks.
#pragma once

#include <string>
#include <vector>

namespace manual {

struct Block {
    enum class Kind { heading, paragraph, bullets, steps, table, literal };
    Kind kind = Kind::paragraph;
    int level = 0;                              // of a heading, from 1
    std::string text;                           // of a heading or a paragraph
    std::vector<std::string> items;             // of a list; the lines of a literal block
    std::vector<std::vector<std::string>> rows; // of a table; the first one is its head
};

// Comments are left out.
std::vector<Block> parse_markdown(const std::string &text);

// The blocks between the heading of that text and the next one of its level or above. Throws std::runtime_error if
// there is no such heading.
std::vector<Block> section_of(const std::vector<Block> &document, const std::string &heading);

// A cell or paragraph without marks: code, emphasis and links as their text.
std::string plain_text(const std::string &text);

} // namespace manual
