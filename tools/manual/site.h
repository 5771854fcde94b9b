// SPDX-License-Identifier: Apache-2.0
// What Doxygen reads instead of a public header or a document: it filters its input through this.
#pragma once

#include <set>
#include <string>

#include "tools/manual/header.h"

namespace manual {

// The header's declarations, with its comments in Doxygen's form. Text that names one of the functions links to it.
std::string site_of_header(const Header &header, const std::set<std::string> &functions);

// A C++ header as it stands, with its comments in Doxygen's form: those before a declaration, and those behind one.
std::string site_of_cpp_header(const std::string &text, const std::set<std::string> &functions);

// A page of the site from a document in Markdown. The document FRONT_PAGE becomes the front page.
// `name` is that of the file; `pages` are the documents that have a page, for example "programming.md". A link to any
// other file becomes text.
std::string site_of_document(const std::string &text, const std::string &name,
                             const std::set<std::string> &pages, const std::set<std::string> &functions);

inline constexpr const char *FRONT_PAGE = "reference.md";

// The documents that have a page. The Doxyfile lists the same ones.
inline const std::set<std::string> SITE_DOCUMENTS{"cluster-event-mode.md",
                                                  "keys.md",
                                                  "programming.md",
                                                  FRONT_PAGE,
                                                  "tutorial-first-cluster.md",
                                                  "tutorial-react-to-a-death.md",
                                                  "tutorial-watch-a-node.md"};

} // namespace manual
