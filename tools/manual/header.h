// SPDX-License-Identifier: Apache-2.0
// Reads a public header: its sections, its declarations, and the comments before them.
#pragma once

#include <string>
#include <vector>

#include "tools/manual/markdown.h"

namespace manual {

struct Function {
    std::string result; // "Hb_Rc"
    std::string name;
    std::vector<std::string> parameters; // "int **descriptor"; "void" if there are none
};

// Declarations that follow each other without a blank line, and share the comment before them.
struct Item {
    std::vector<std::string> comment;      // the lines of its text
    std::vector<std::string> declarations; // each as it stands, with the comments inside and behind it

    std::vector<Function> functions() const;
    bool is_only_functions() const;
};

struct Section {
    std::string title;                // the first sentence of its heading, or a heading of the head comment
    std::vector<std::string> comment; // the text below the heading
    std::vector<Item> items;          // none in a section of the head comment
};

struct Header {
    std::string name;              // "hb_client.h"
    std::string summary;           // behind the name, in the first line
    std::vector<std::string> text; // between that line and the first heading
    std::vector<Section> sections;

    // Throws std::runtime_error if there is no section of this title.
    const Section &section(const std::string &title) const;
    std::vector<Function> functions() const;
};

// Throws std::runtime_error if the text does not begin as a public header does.
Header parse_header(const std::string &text);

// Turns the text of a comment into blocks: paragraphs, lists, indented code. A term that two blanks separate from its
// meaning becomes a row of a table. Identifiers are marked as code.
std::vector<Block> comment_blocks(const std::vector<std::string> &lines);

} // namespace manual
