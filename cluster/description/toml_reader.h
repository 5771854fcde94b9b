// Reads typed values out of TOML tables; whatever is not as expected becomes a Config_Error with its place.
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

// The whole of a file; Config_Error when it cannot be read.
std::string read_text_file(const std::string &path);

// The document; `path` stands in the errors.
toml::table parse_toml(std::string_view document, const std::string &path);

class Toml_Reader {
  public:
    // `title` is how the table is called in errors, for instance "[[node]]". A key that is not among
    // `keys` is refused at once: a misspelt key would otherwise show as a missing one.
    Toml_Reader(const toml::table &table, const std::string &path, std::string title,
                std::initializer_list<std::string_view> keys);

    bool has(std::string_view key) const { return table_.contains(key); }
    int64_t integer(std::string_view key, int64_t lowest, int64_t highest) const;
    int64_t integer_or(std::string_view key, int64_t lowest, int64_t highest, int64_t otherwise) const;
    double number(std::string_view key, double lowest, double highest) const;
    // A number of seconds, rounded to microseconds.
    std::chrono::microseconds seconds_or(std::string_view key, double lowest, double highest,
                                         std::chrono::microseconds otherwise) const;
    bool boolean_or(std::string_view key, bool otherwise) const;
    // At least one and at most `longest` bytes.
    std::string string(std::string_view key, std::size_t longest) const;
    std::string string_or(std::string_view key, std::size_t longest, const std::string &otherwise) const;
    // "up" is true and "down" is false.
    bool state_or(std::string_view key, bool otherwise) const;
    // The sub-table of that key; null when there is none.
    const toml::table *table(std::string_view key) const;
    // The tables of an array of tables; none when there is no such key.
    std::vector<const toml::table *> tables(std::string_view key) const;

    // "file:line:column" of the table, or of a key's value where there is one.
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
