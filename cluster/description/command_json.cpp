// SPDX-License-Identifier: Apache-2.0
#include "cluster/description/command_json.h"

#include <limits>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include <nlohmann/json.hpp>

#include "host/text.h"

namespace wispd {

namespace {

using nlohmann::json;

// Collects the members of the line's object while the parser reads it, without a tree in between.
class Line_Reader : public nlohmann::json_sax<json> {
  public:
    // A value that no command accepts is empty.
    using Members = std::map<std::string, std::optional<Argument>>;

    bool is_object() const { return is_object_; }
    const Members &members() const { return members_; }
    // The parser accepts repeated keys, but a program that read the line earlier can use another of the values.
    const std::optional<std::string> &repeated() const { return repeated_; }

    bool null() override { return put(std::nullopt); }
    bool boolean(bool value) override { return put(value); }
    bool number_integer(int64_t value) override { return put(value); }
    bool number_unsigned(uint64_t value) override {
        return value <= static_cast<uint64_t>(std::numeric_limits<int64_t>::max())
                   ? put(static_cast<int64_t>(value))
                   : put(std::nullopt);
    }
    bool number_float(double /*value*/, const std::string & /*digits*/) override { return put(std::nullopt); }
    bool string(std::string &value) override { return put(std::move(value)); }
    bool binary(json::binary_t & /*value*/) override { return put(std::nullopt); }
    bool start_object(std::size_t /*members*/) override {
        is_object_ = is_object_ || depth_ == 0;
        return begin();
    }
    bool key(std::string &name) override {
        if (!names_.insert(name).second) {
            repeated_ = name;
        }
        if (depth_ == 1) {
            name_ = std::move(name);
        }
        return true;
    }
    bool end_object() override { return end(); }
    bool start_array(std::size_t /*elements*/) override { return begin(); }
    bool end_array() override { return end(); }
    bool parse_error(std::size_t /*position*/, const std::string & /*token*/,
                     const json::exception & /*error*/) override {
        return false;
    }

  private:
    bool put(std::optional<Argument> value) {
        if (depth_ == 1) {
            members_[name_] = std::move(value);
        }
        return true;
    }
    bool begin() {
        put(std::nullopt);
        ++depth_;
        return true;
    }
    bool end() {
        --depth_;
        return true;
    }

    std::size_t depth_ = 0;
    bool is_object_ = false;
    std::string name_;
    Members members_;
    std::set<std::string> names_;
    std::optional<std::string> repeated_;
};

// Returns "?" for a value that no command accepts. Such a value can be nested deeply, which costs stack to print.
std::string value_text(const json &value) {
    return value.is_string() ? value.get<std::string>() : value.is_structured() ? "?" : value.dump();
}

constexpr std::size_t DESCRIPTION_LONGEST = 256;

} // namespace

Command parse_command_line(std::string_view line) {
    Line_Reader reader;
    if (!json::sax_parse(line, &reader) || !reader.is_object()) {
        throw Command_Error("expected one JSON object in a line, such as {\"do\":\"node-down\",\"node\":3}");
    }
    if (reader.repeated()) {
        throw Command_Error(text("'", *reader.repeated(), "' occurs twice in the line"));
    }
    std::string verb;
    Arguments arguments;
    for (const auto &[name, value] : reader.members()) {
        if (name == "do") {
            const std::string *named = value ? std::get_if<std::string>(&*value) : nullptr;
            verb = named != nullptr ? *named : "";
        } else if (value) {
            arguments.emplace(name, *value);
        } else {
            throw Command_Error(text("'", name, "' must be an integer, a string, true or false"));
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
