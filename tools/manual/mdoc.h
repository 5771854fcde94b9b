// SPDX-License-Identifier: Apache-2.0
// Writes the language of manual pages.
#pragma once

#include <string>
#include <vector>

#include "tools/manual/markdown.h"

namespace manual {

class Mdoc {
  public:
    // One line of the language, as it is.
    void macro(const std::string &line);
    // A line that begins with a macro, and continues with text whose words are no macros.
    void heading(const std::string &macro, const std::string &words);
    // Text with Markdown's marks within a paragraph, broken into short lines, each sentence on a new one.
    void sentences(const std::string &markdown);
    void literal(const std::vector<std::string> &lines);
    // A heading of level 1 begins a section of the page, any other one a subsection.
    void blocks(const std::vector<Block> &blocks);
    // Starts a paragraph, except behind a heading.
    void paragraph();

    const std::string &text() const { return text_; }

  private:
    void table(const Block &block);
    void list(const Block &block);

    std::string text_;
    bool is_behind_heading_ = true;
};

// One word of an argument of a macro.
std::string macro_word(const std::string &word);

} // namespace manual
