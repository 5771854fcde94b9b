// SPDX-License-Identifier: Apache-2.0
// Reads the project's own files.
#pragma once

#include <string>
#include <vector>

// Returns the whole file. The running test fails if it cannot be read.
std::string read_source(const std::string &path);

bool path_exists(const std::string &path);

// The files below a folder of the project whose names end in one of the endings, as paths from its root,
// sorted.
std::vector<std::string> source_files(const std::string &root, const std::string &folder,
                                      const std::vector<std::string> &endings);

std::vector<std::string> lines_of(const std::string &text);

// The text with C and C++ comments blanked out; line breaks stay.
std::string without_comments(const std::string &text);
