// SPDX-License-Identifier: Apache-2.0
#include "tests/security/unit_file.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace hb_test {

std::vector<std::string> words_of(const std::string &text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

Unit_File::Unit_File(const std::string &path) {
    std::ifstream file(path);
    if (!file) {
        throw std::runtime_error(path + " cannot be read");
    }
    for (std::string line; std::getline(file, line);) {
        const std::size_t equals = line.find('=');
        if (equals != std::string::npos && line.front() != '#') {
            settings_.emplace_back(line.substr(0, equals), line.substr(equals + 1));
        }
    }
}

std::vector<std::string> Unit_File::lines(const std::string &key) const {
    std::vector<std::string> lines;
    for (const auto &[name, value] : settings_) {
        if (name == key) {
            lines.push_back(value);
        }
    }
    return lines;
}

std::string Unit_File::value(const std::string &key) const {
    const std::vector<std::string> all = lines(key);
    return all.empty() ? "" : all.back();
}

std::vector<std::string> Unit_File::words(const std::string &key) const {
    std::vector<std::string> words;
    for (const std::string &line : lines(key)) {
        for (const std::string &word : words_of(line)) {
            words.push_back(word);
        }
    }
    return words;
}

} // namespace hb_test
