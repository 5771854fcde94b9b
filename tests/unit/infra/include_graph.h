// SPDX-License-Identifier: Apache-2.0
// The includes between the project's modules; a .h and the .cpp of the same name are one module.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

using Include_Graph = std::map<std::string, std::set<std::string>>;

// "lib/vexo/Hb_Csock.cpp" -> "lib/vexo/Hb_Csock"
std::string module_of(const std::string &path);

// The names in a source's `#include "..."` lines.
std::vector<std::string> quoted_includes(const std::string &source);

void add_file(Include_Graph &graph, const std::string &path, const std::string &source);

// A loop as the list of its modules, with the first one repeated at the end; empty if there is none. A module
// that includes itself (a .cpp its .h) is not a loop.
std::vector<std::string> find_loop(const Include_Graph &graph);
