// SPDX-License-Identifier: Apache-2.0
#include "cluster/description/timeline.h"

#include <filesystem>

#include "cluster/description/named_file.h"
#include "cluster/description/toml_reader.h"
#include "host/text.h"

namespace wispd {

namespace {

constexpr double LONGEST_WAIT_SECONDS = 31536000;

Arguments read_arguments(const toml::table &table, const std::string &path) {
    Arguments arguments;
    for (auto &&[key, value] : table) {
        const std::string name(key.str());
        if (name == "after" || name == "do") {
            continue;
        }
        if (value.is_integer()) {
            arguments[name] = value.as_integer()->get();
        } else if (value.is_boolean()) {
            arguments[name] = value.as_boolean()->get();
        } else if (value.is_string()) {
            arguments[name] = value.as_string()->get();
        } else {
            throw Config_Error(text(path, ":", value.source().begin.line, ":", value.source().begin.column,
                                    ": '", name,
                                    "' in [[event]] is neither an integer, a string nor a boolean"));
        }
    }
    return arguments;
}

Timeline_Event read_event(const toml::table &table, const std::string &path) {
    // The verb decides which other keys are permitted, so make_command() checks them together.
    const Toml_Reader reader(table, path, "[[event]]",
                             {"after", "do", "node", "adapter", "address", "type", "config",
                              "threshold_seconds", "threshold_microseconds", "enabled", "id", "instance"});
    Timeline_Event event;
    event.place = reader.place();
    event.after = std::chrono::microseconds(
        static_cast<int64_t>(reader.number("after", 0, LONGEST_WAIT_SECONDS) * 1e6 + 0.5));
    try {
        event.command = make_command(reader.string("do", 255), read_arguments(table, path));
    } catch (const Command_Error &error) {
        throw reader.error("do", error.what());
    }
    if (event.command.verb == Verb::state) {
        throw reader.error("do", "state returns an answer and cannot be used in a timeline");
    }
    if (event.command.verb == Verb::play) {
        throw reader.error("do",
                           "play cannot be used in a timeline; copy the other timeline's events into this one");
    }
    if (!event.command.config.empty()) {
        event.command.config = (std::filesystem::path(path).parent_path() / event.command.config).string();
    }
    return event;
}

} // namespace

std::vector<Timeline_Event> parse_timeline(std::string_view document, const std::string &path) {
    const toml::table parsed = parse_toml(document, path);
    const Toml_Reader root(parsed, path, "the timeline", {"event"});
    std::vector<Timeline_Event> events;
    for (const toml::table *event : root.tables("event")) {
        events.push_back(read_event(*event, path));
    }
    return events;
}

std::vector<Timeline_Event> read_timeline(const std::string &path) {
    return parse_timeline(read_text_file(path), path);
}

std::vector<Timeline_Event> read_named_timeline(const std::string &path) {
    return parse_timeline(read_named_file(path), path);
}

} // namespace wispd
