// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/demo/client_event.h"

#include <cstdio>
#include <ctime>
#include <stdexcept>

#include <nlohmann/json.hpp>

namespace hb_demo {
namespace {

using Json = nlohmann::json;

// 2024-05-01T12:00:00.123Z
Time time_of(const std::string &text) {
    std::tm calendar{};
    int milliseconds = 0;
    if (std::sscanf(text.c_str(), "%d-%d-%dT%d:%d:%d.%dZ", &calendar.tm_year, &calendar.tm_mon,
                    &calendar.tm_mday, &calendar.tm_hour, &calendar.tm_min, &calendar.tm_sec,
                    &milliseconds) != 7) {
        throw std::runtime_error("\"" + text + "\" is not a time");
    }
    calendar.tm_year -= 1900;
    calendar.tm_mon -= 1;
    return Time(std::chrono::seconds(timegm(&calendar)) + std::chrono::milliseconds(milliseconds));
}

Told told_by(const std::string &name) {
    if (name == "new-group") {
        return Told::account;
    }
    if (name == "death") {
        return Told::death;
    }
    return name == "join" ? Told::join : Told::other;
}

std::map<int, int> adapters_of(const Json &list) {
    std::map<int, int> adapters;
    for (const Json &one : list) {
        const Json &node = one.at("node"); // null for an adapter that is not configured
        adapters[one.at("adapter").get<int>()] = node.is_null() ? -1 : node.get<int>();
    }
    return adapters;
}

std::string joined(const std::set<int> &numbers) {
    std::string text;
    for (const int number : numbers) {
        text += (text.empty() ? "" : ", ") + std::to_string(number);
    }
    return text;
}

std::string account_of(const Client_Event &event) {
    return event.about_nodes ? "up: nodes " + joined(event.nodes)
                             : "up: " + std::to_string(event.adapters.size()) + " adapters";
}

std::string in_words(const std::string &name) {
    const std::map<std::string, std::string> words{
        {"configuration", "the configuration changed"},
        {"ffdc", "a failure identifier"},
        {"heartbeat", "heartbeat settings"},
        {"disconnected", "wispd disconnected"},
        {"reconnected", "wispd reconnected"},
    };
    const auto found = words.find(name);
    return found != words.end() ? found->second : name;
}

} // namespace

Time now() {
    return std::chrono::time_point_cast<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

Client_Event read_event(const std::string &line) {
    try {
        const Json json = Json::parse(line);
        Client_Event event;
        event.time = time_of(json.at("time").get<std::string>());
        event.name = json.at("event").get<std::string>();
        event.told = told_by(event.name);
        if (event.told != Told::other) {
            event.about_nodes = json.at("group").get<std::string>() == "nodes";
            event.nodes = json.at("nodes").get<std::set<int>>();
            event.adapters = adapters_of(json.at("adapters"));
        }
        return event;
    } catch (const std::exception &trouble) {
        throw std::runtime_error("the client printed a line that is not an event: " + line + " (" +
                                 trouble.what() + ")");
    }
}

std::vector<std::string> lines_of(const Client_Event &event) {
    if (event.told == Told::account) {
        return {account_of(event)};
    }
    if (event.told == Told::other) {
        return {in_words(event.name)};
    }
    const std::string happened = event.told == Told::death ? " died" : " joined";
    std::vector<std::string> lines;
    for (const int node : event.nodes) {
        lines.push_back("node " + std::to_string(node) + happened);
    }
    for (const auto &[adapter, node] : event.adapters) {
        lines.push_back("adapter " + std::to_string(adapter) + " of node " + std::to_string(node) + happened);
    }
    return lines;
}

} // namespace hb_demo
