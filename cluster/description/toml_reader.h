// SPDX-License-Identifier: Apache-2.0
// Reads typed values out of TOML tables. An unexpected value causes a Config_Error that names its place.
#pragma once

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <toml++/toml.h>

#include "cluster/description/config_error.h"

namespace wispd {

// Returns the content of a file. Throws Config_Error when the file cannot be read.
std::string read_text_file(const std::string &path);

// Parses a document; errors name `path`.
toml::table parse_toml(std::string_view document, const std::string &path);

class Toml_Reader {
  public:
    // `title` names the table in errors, for instance "[[node]]". A key that is not in `keys` is rejected at
    // once: a misspelt key would otherwise be reported as a missing one.
    Toml_Reader(const toml::table &table, const std::string &path, std::string title,
                std::initializer_list<std::string_view> keys);

    bool has(std::string_view key) const { return table_.contains(key); }
    int64_t integer(std::string_view key, int64_t lowest, int64_t highest) const;
    int64_t integer_or(std::string_view key, int64_t lowest, int64_t highest, int64_t otherwise) const;
    double number(std::string_view key, double lowest, double highest) const;
    // Reads a number of seconds and rounds it to microseconds.
    std::chrono::microseconds seconds_or(std::string_view key, double lowest, double highest,
                                         std::chrono::microseconds otherwise) const;
    bool boolean_or(std::string_view key, bool otherwise) const;
    // Reads a text of at least one and at most `longest` bytes.
    std::string string(std::string_view key, std::size_t longest) const;
    std::string string_or(std::string_view key, std::size_t longest, const std::string &otherwise) const;
    // Returns true for "up" and false for "down".
    bool state_or(std::string_view key, bool otherwise) const;
    // Returns the sub-table of that key; null when the key is missing.
    const toml::table *table(std::string_view key) const;
    // Returns the tables of an array of tables; empty when the key is missing.
    std::vector<const toml::table *> tables(std::string_view key) const;

    // Returns "file:line:column" of the table, or of the key's value where it exists.
    std::string place() const;
    std::string place(std::string_view key) const;
    Config_Error error(std::string_view key, const std::string &what) const;
    Config_Error error(const std::string &what) const;

  private:
    const toml::node &required(std::string_view key) const;
    std::string place_of(const toml::node &node) const;
    std::string name_of(std::string_view key) const;

    const toml::table &table_;
    std::string path_;
    std::string title_;
};

} // namespace wispd
