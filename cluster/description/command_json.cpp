// SPDX-License-Identifier: Apache-2.0
#include "cluster/description/command_json.h"

#include <limits>
#include <optional>
#include <set>

#include <nlohmann/json.hpp>

#include "host/text.h"

namespace wispd {

namespace {

using nlohmann::json;

Argument argument_of(const std::string &name, const json &value) {
    if (value.is_boolean()) {
        return value.get<bool>();
    }
    const bool fits = value.is_number_integer() &&
                      (!value.is_number_unsigned() ||
                       value.get<uint64_t>() <= static_cast<uint64_t>(std::numeric_limits<int64_t>::max()));
    if (fits) {
        return value.get<int64_t>();
    }
    if (value.is_string()) {
        return value.get<std::string>();
    }
    throw Command_Error(text("'", name, "' must be an integer, a string, true or false"));
}

// Returns "?" for a value that no command accepts. Such a value can be nested deeply, which costs stack to print.
std::string value_text(const json &value) {
    return value.is_string() ? value.get<std::string>() : value.is_structured() ? "?" : value.dump();
}

constexpr std::size_t DESCRIPTION_LONGEST = 256;

} // namespace

Command parse_command_line(std::string_view line) {
    // The parser keeps the last of repeated keys, but a program that read the line earlier can use the first.
    std::set<std::string> names;
    std::optional<std::string> repeated;
    const auto note = [&](int /*depth*/, json::parse_event_t event, const json &value) {
        if (event == json::parse_event_t::key && !names.insert(value.get<std::string>()).second) {
            repeated = value.get<std::string>();
        }
        return true;
    };
    const json parsed = json::parse(line, note, false);
    if (!parsed.is_object()) {
        throw Command_Error("expected one JSON object in a line, such as {\"do\":\"node-down\",\"node\":3}");
    }
    if (repeated) {
        throw Command_Error(text("'", *repeated, "' occurs twice in the line"));
    }
    std::string verb;
    Arguments arguments;
    for (const auto &[name, value] : parsed.items()) {
        if (name != "do") {
            arguments[name] = argument_of(name, value);
        } else if (value.is_string()) {
            verb = value.get<std::string>();
        }
    }
    if (verb.empty()) {
        throw Command_Error("'do' must name the command, such as {\"do\":\"node-down\",\"node\":3}");
    }
    return make_command(verb, arguments);
}

std::string command_description(std::string_view line) {
    const json parsed = json::parse(line, nullptr, false);
    const auto verb = parsed.is_object() ? parsed.find("do") : parsed.end();
    if (verb == parsed.end() || !verb->is_string()) {
        return "an invalid command";
    }
    std::string description = verb->get<std::string>();
    for (const auto &[name, value] : parsed.items()) {
        if (name != "do") {
            description += text(" ", name, "=", value_text(value));
        }
    }
    if (description.size() > DESCRIPTION_LONGEST) {
        description.resize(DESCRIPTION_LONGEST);
        description += "...";
    }
    return description;
}

std::string ok_line() {
    return R"({"ok":true})";
}

std::string error_line(std::string_view error) {
    const json answer = {{"ok", false}, {"error", error}};
    // The error can quote text that is not valid UTF-8.
    return answer.dump(-1, ' ', false, json::error_handler_t::replace);
}

} // namespace wispd
