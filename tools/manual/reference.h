// SPDX-License-Identifier: Apache-2.0
// Makes the pages of section 3, which describe the calls, from the public headers.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/manual/header.h"

namespace manual {

// One line of packaging/man/reference.list: "NAME | HEADER | SECTION; SECTION | WHAT".
struct Reference_Row {
    std::string page;
    std::string header;
    std::vector<std::string> sections; // those of the header, by their titles; "" is the head comment's text
    std::string what;
};

// Lines that begin with # are comments. Throws std::runtime_error for any other line that is not a row.
std::vector<Reference_Row> parse_reference_list(const std::string &text);

// Returns each page's file name with its text: the pages of the list, and for each function a page that includes the one
// which describes it. The date is that of a mail. Throws std::runtime_error if a function or a section has no page.
std::map<std::string, std::string> reference_pages(const std::vector<Reference_Row> &rows,
                                                   const std::vector<Header> &headers, const std::string &date);

} // namespace manual
