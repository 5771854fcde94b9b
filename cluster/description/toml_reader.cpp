// SPDX-License-Identifier: Apache-2.0
#include "cluster/description/toml_reader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "cluster/description/toml_hazards.h"
#include "host/text.h"

namespace wispd {

namespace {

constexpr std::size_t LARGEST_FILE = 64 * 1024 * 1024; // several times the size of a full cluster's file
constexpr std::size_t LONGEST_LINE = 16384;

std::string source_place(const std::string &path, const toml::source_position &position) {
    return text(path, ":", position.line, ":", position.column);
}

const char *type_name(const toml::node &node) {
    switch (node.type()) {
    case toml::node_type::table:
        return "a table";
    case toml::node_type::array:
        return "an array";
    case toml::node_type::string:
        return "a string";
    case toml::node_type::integer:
        return "an integer";
    case toml::node_type::floating_point:
        return "a decimal number";
    case toml::node_type::boolean:
        return "a boolean";
    default:
        return "a date or time";
    }
}

std::string list_of(std::initializer_list<std::string_view> keys) {
    std::string list;
    for (std::string_view key : keys) {
        list += list.empty() ? "" : ", ";
        list += key;
    }
    return list;
}

std::string decimal(double value) {
    std::string digits = std::to_string(value);
    digits.erase(digits.find_last_not_of('0') + 1);
    if (digits.back() == '.') {
        digits.pop_back();
    }
    return digits;
}

// A dotted key of very many parts nests tables deeper than the stack permits. A limit on lines prevents that.
void check_lines(std::string_view document, const std::string &path) {
    std::size_t line = 1;
    while (!document.empty()) {
        const std::size_t end = std::min(document.find('\n'), document.size());
        if (end > LONGEST_LINE) {
            throw Config_Error(text(path, ":", line, ":", LONGEST_LINE + 1, ": the line has more than ",
                                    LONGEST_LINE, " bytes"));
        }
        document.remove_prefix(std::min(end + 1, document.size()));
        ++line;
    }
}

void check_hazards(std::string_view document, const std::string &path) {
    if (const std::optional<Toml_Hazard> hazard = find_toml_hazard(document)) {
        const std::string where = text(path, ":", hazard->line, ":", hazard->column);
        if (hazard->is_bad_header) {
            throw Config_Error(text(where, ": a table header needs a name between its brackets"));
        }
        throw Config_Error(text(where, ": tables and arrays are nested deeper than ", TOML_NESTING_DEEPEST,
                                " levels; each part of a dotted key counts as one"));
    }
}

} // namespace

std::string read_text_file(const std::string &path) {
    // A named file must not block its reader, as a pipe does while no process writes to it.
    std::error_code unknown;
    const std::filesystem::file_status status = std::filesystem::status(path, unknown);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status) &&
        !std::filesystem::is_directory(status)) {
        throw Config_Error(text(path, ": is not a regular file"));
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw Config_Error(text(path, ": cannot be opened: ", std::strerror(errno)));
    }
    std::string content;
    std::array<char, 65536> piece{};
    while (file.read(piece.data(), piece.size()) || file.gcount() > 0) {
        content.append(piece.data(), static_cast<std::size_t>(file.gcount()));
        if (content.size() > LARGEST_FILE) {
            throw Config_Error(text(path, ": has more than ", LARGEST_FILE, " bytes"));
        }
    }
    if (file.bad()) { // a directory can be opened but not read
        throw Config_Error(text(path, ": cannot be read: ", std::strerror(errno)));
    }
    return content;
}

toml::table parse_toml(std::string_view document, const std::string &path) {
    check_lines(document, path);
    check_hazards(document, path);
    try {
        return toml::parse(document, path);
    } catch (const toml::parse_error &error) {
        throw Config_Error(text(source_place(path, error.source().begin), ": ", error.description()));
    }
}

Toml_Reader::Toml_Reader(const toml::table &table, const std::string &path, std::string title,
                         std::initializer_list<std::string_view> keys)
    : table_(table), path_(path), title_(std::move(title)) {
    const toml::key *unknown = nullptr;
    for (auto &&[key, value] : table_) {
        if (std::find(keys.begin(), keys.end(), key.str()) != keys.end()) {
            continue;
        }
        const auto is_earlier = [](const toml::source_position &a, const toml::source_position &b) {
            return a.line < b.line || (a.line == b.line && a.column < b.column);
        };
        if (unknown == nullptr || is_earlier(key.source().begin, unknown->source().begin)) {
            unknown = &key;
        }
    }
    if (unknown != nullptr) {
        throw Config_Error(text(source_place(path_, unknown->source().begin), ": unknown key '", unknown->str(),
                                "' in ", title_, "; expected one of: ", list_of(keys)));
    }
}

std::string Toml_Reader::place_of(const toml::node &node) const {
    // A table that the file only implies has no position of its own.
    toml::source_position position = node.source().begin;
    if (!position) {
        position = toml::source_position{1, 1};
    }
    return source_place(path_, position);
}

std::string Toml_Reader::place() const {
    return place_of(table_);
}

std::string Toml_Reader::place(std::string_view key) const {
    const toml::node *node = table_.get(key);
    return place_of(node == nullptr ? table_ : *node);
}

Config_Error Toml_Reader::error(std::string_view key, const std::string &what) const {
    return Config_Error(text(place(key), ": ", what));
}

Config_Error Toml_Reader::error(const std::string &what) const {
    return Config_Error(text(place(), ": ", what));
}

std::string Toml_Reader::name_of(std::string_view key) const {
    return text("'", key, "' in ", title_);
}

const toml::node &Toml_Reader::required(std::string_view key) const {
    const toml::node *node = table_.get(key);
    if (node == nullptr) {
        throw error(text("missing key ", name_of(key)));
    }
    return *node;
}

int64_t Toml_Reader::integer(std::string_view key, int64_t lowest, int64_t highest) const {
    const toml::node &node = required(key);
    if (!node.is_integer()) {
        throw error(key, text(name_of(key), " is ", type_name(node), "; expected an integer from ", lowest,
                              " to ", highest));
    }
    const int64_t value = node.as_integer()->get();
    if (value < lowest || value > highest) {
        throw error(key,
                    text(name_of(key), " is ", value, "; expected an integer from ", lowest, " to ", highest));
    }
    return value;
}

int64_t Toml_Reader::integer_or(std::string_view key, int64_t lowest, int64_t highest,
                                int64_t otherwise) const {
    return has(key) ? integer(key, lowest, highest) : otherwise;
}

double Toml_Reader::number(std::string_view key, double lowest, double highest) const {
    const toml::node &node = required(key);
    const std::optional<double> value = node.is_number() ? node.value<double>() : std::nullopt;
    if (!value || !(*value >= lowest && *value <= highest)) {
        throw error(key, text(name_of(key), " is ", value ? decimal(*value) : std::string(type_name(node)),
                              "; expected a number from ", decimal(lowest), " to ", decimal(highest)));
    }
    return *value;
}

std::chrono::microseconds Toml_Reader::seconds_or(std::string_view key, double lowest, double highest,
                                                  std::chrono::microseconds otherwise) const {
    if (!has(key)) {
        return otherwise;
    }
    return std::chrono::microseconds(static_cast<int64_t>(number(key, lowest, highest) * 1e6 + 0.5));
}

bool Toml_Reader::boolean_or(std::string_view key, bool otherwise) const {
    if (!has(key)) {
        return otherwise;
    }
    const toml::node &node = required(key);
    if (!node.is_boolean()) {
        throw error(key, text(name_of(key), " is ", type_name(node), "; expected true or false"));
    }
    return node.as_boolean()->get();
}

std::string Toml_Reader::string(std::string_view key, std::size_t longest) const {
    const toml::node &node = required(key);
    if (!node.is_string()) {
        throw error(key, text(name_of(key), " is ", type_name(node), "; expected a string"));
    }
    const std::string &value = node.as_string()->get();
    if (value.empty()) {
        throw error(key, text(name_of(key), " is empty"));
    }
    if (value.size() > longest) {
        throw error(key,
                    text(name_of(key), " has ", value.size(), " bytes; at most ", longest, " are permitted"));
    }
    if (std::any_of(value.begin(), value.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; })) {
        throw error(key, text(name_of(key), " contains a control character"));
    }
    return value;
}

std::string Toml_Reader::string_or(std::string_view key, std::size_t longest,
                                   const std::string &otherwise) const {
    return has(key) ? string(key, longest) : otherwise;
}

bool Toml_Reader::state_or(std::string_view key, bool otherwise) const {
    if (!has(key)) {
        return otherwise;
    }
    const toml::node &node = required(key);
    const std::string value = node.is_string() ? node.as_string()->get() : std::string();
    if (value != "up" && value != "down") {
        throw error(key,
                    text(name_of(key), " is ", node.is_string() ? text("\"", value, "\"") : type_name(node),
                         "; expected \"up\" or \"down\""));
    }
    return value == "up";
}

const toml::table *Toml_Reader::table(std::string_view key) const {
    if (!has(key)) {
        return nullptr;
    }
    const toml::node &node = required(key);
    if (!node.is_table()) {
        throw error(key, text(name_of(key), " is ", type_name(node), "; expected a table: [", key, "]"));
    }
    return node.as_table();
}

std::vector<const toml::table *> Toml_Reader::tables(std::string_view key) const {
    std::vector<const toml::table *> found;
    if (!has(key)) {
        return found;
    }
    const toml::node &node = required(key);
    const toml::array *array = node.as_array();
    const bool of_tables = array != nullptr && std::all_of(array->begin(), array->end(),
                                                           [](const toml::node &n) { return n.is_table(); });
    if (!of_tables) {
        throw error(key, text(name_of(key), " is not an array of tables; expected [[", key, "]]"));
    }
    for (const toml::node &element : *array) {
        found.push_back(element.as_table());
    }
    return found;
}

} // namespace wispd
