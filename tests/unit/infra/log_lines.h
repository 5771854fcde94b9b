// The lines that a program logs, as its sources have them and as a document quotes them.
#ifndef TESTS_LOG_LINES_H
#define TESTS_LOG_LINES_H

#include <string>
#include <vector>

// What is fixed in a line, in the order in which it stands there, without the space and the marks at the ends.
using Line_Parts = std::vector<std::string>;

// The lines that the source logs as info, warning or error. Lines that are made up elsewhere as a whole have no parts,
// and are left out.
std::vector<Line_Parts> logged_lines(const std::string &source);

// All literals of the source, those that follow each other as one, a line for each.
std::string literals_of(const std::string &source);

// What stands in backticks in the first column of the tables of the document's part with that heading, which runs to
// the next heading of its level.
std::vector<std::string> quoted_lines(const std::string &document, const std::string &heading);

// What is fixed in a quoted line: all but the words in capitals, which stand for something, and "...".
Line_Parts parts_of_quoted(const std::string &quoted);

// Whether the quoted line has all of the parts, one behind the other.
bool quotes(const std::string &quoted, const Line_Parts &parts);

#endif
