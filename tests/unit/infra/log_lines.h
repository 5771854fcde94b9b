// SPDX-License-Identifier: Apache-2.0
// The log lines of a program, as its sources contain them and as a document quotes them.
#pragma once

#include <string>
#include <vector>

// The fixed parts of a line, in their order, without blanks and punctuation at their ends.
using Line_Parts = std::vector<std::string>;

// The lines that the source logs as info, warning or error. Lines that are built entirely elsewhere have no
// parts and are omitted.
std::vector<Line_Parts> logged_lines(const std::string &source);

// All literals of the source, one a line. Adjacent literals count as one.
std::string literals_of(const std::string &source);

// The texts in backticks in the first column of the tables below that heading. They are collected up to the
// next heading of its level.
std::vector<std::string> quoted_lines(const std::string &document, const std::string &heading);

// The fixed parts of a quoted line: everything except "..." and the words in capitals, which are placeholders.
Line_Parts parts_of_quoted(const std::string &quoted);

// Returns whether the quoted line has all of the parts, one after the other.
bool quotes(const std::string &quoted, const Line_Parts &parts);
