// SPDX-License-Identifier: Apache-2.0
// Makes a manual page from its template, the documents and the program's options.
#pragma once

#include <optional>
#include <string>

#include "tools/manual/program_tree.h"

namespace manual {

struct Page_Sources {
    std::string template_text;
    std::string documents; // the directory
    std::string date;      // of the release, as a mail has it: "Sun, 22 Nov 2026 12:00:00 +0000"
    std::optional<Command> program;
};

// A template is Markdown, with lines that begin with @:
//   @page NAME SECTION WHAT          the head of the page; first
//   @synopsis, @options, @commands   of the program
//   @include DOCUMENT: HEADING       the section of that document
//   @file PATH                       the whole file, by its path in the tree
//   @see NAME(SECTION) ...           references to other pages
// Throws std::exception if a line or section is not as expected.
std::string make_page(const Page_Sources &sources);

// "November 22, 2026" for "Sun, 22 Nov 2026 12:00:00 +0000". Throws std::runtime_error for any other form.
std::string page_date(const std::string &mail_date);

} // namespace manual
