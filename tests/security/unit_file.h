// SPDX-License-Identifier: Apache-2.0
// The settings of a service unit.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace hb_test {

std::vector<std::string> words_of(const std::string &text);

class Unit_File {
  public:
    // Throws std::runtime_error if the file cannot be read.
    explicit Unit_File(const std::string &path);

    // Returns every line of a setting, in order.
    std::vector<std::string> lines(const std::string &key) const;
    // Returns the last line; empty if there is none.
    std::string value(const std::string &key) const;
    // Returns the words of all lines.
    std::vector<std::string> words(const std::string &key) const;
    bool is_on(const std::string &key) const { return value(key) == "yes"; }

  private:
    std::vector<std::pair<std::string, std::string>> settings_;
};

} // namespace hb_test
