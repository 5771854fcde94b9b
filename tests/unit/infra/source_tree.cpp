// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/infra/source_tree.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

std::string read_source(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << "cannot read " << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

bool path_exists(const std::string &path) {
    return fs::exists(path);
}

std::vector<std::string> source_files(const std::string &root, const std::string &folder,
                                      const std::vector<std::string> &endings) {
    std::vector<std::string> found;
    for (const auto &entry : fs::recursive_directory_iterator(fs::path(root) / folder)) {
        const std::string path = fs::relative(entry.path(), root).string();
        const bool wanted = std::any_of(endings.begin(), endings.end(),
                                        [&](const std::string &ending) { return path.ends_with(ending); });
        if (entry.is_regular_file() && wanted) {
            found.push_back(path);
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string without_comments(const std::string &text) {
    std::string out;
    enum { Code, Line_Comment, Block_Comment } state = Code;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool pair = i + 1 < text.size();
        if (state == Code && pair && text[i] == '/' && text[i + 1] == '/') {
            state = Line_Comment;
        } else if (state == Code && pair && text[i] == '/' && text[i + 1] == '*') {
            state = Block_Comment;
            ++i;
        } else if (state == Block_Comment && pair && text[i] == '*' && text[i + 1] == '/') {
            state = Code;
            ++i;
        } else if (text[i] == '\n') {
            state = state == Line_Comment ? Code : state;
            out += '\n';
        } else if (state == Code) {
            out += text[i];
        }
    }
    return out;
}
