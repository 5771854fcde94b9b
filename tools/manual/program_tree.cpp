// SPDX-License-Identifier: Apache-2.0
#include "tools/manual/program_tree.h"

#include <nlohmann/json.hpp>

namespace manual {
namespace {

using Json = nlohmann::json;

Option option_of(const Json &object) {
    Option option;
    option.names = object.at("names").get<std::vector<std::string>>();
    option.operand = object.at("positional");
    option.type = object.at("type");
    option.help = object.at("help");
    option.required = object.at("required");
    option.words = object.at("words").get<std::vector<std::string>>();
    return option;
}

std::vector<Option> options_of(const Json &array) {
    std::vector<Option> options;
    for (const Json &object : array) {
        options.push_back(option_of(object));
    }
    return options;
}

Command command_of(const Json &object) {
    Command command;
    command.name = object.at("name");
    command.group = object.at("group");
    command.help = object.at("help");
    command.footer = object.at("footer");
    command.option_groups.push_back({"", options_of(object.at("options"))});
    for (const Json &group : object.at("option_groups")) {
        command.option_groups.push_back({group.at("title"), options_of(group.at("options"))});
    }
    for (const Json &part : object.at("commands")) {
        command.commands.push_back(command_of(part));
    }
    return command;
}

} // namespace

std::vector<Option> Command::options() const {
    std::vector<Option> found;
    for (const Option_Group &set : option_groups) {
        for (const Option &option : set.options) {
            if (!option.is_operand()) {
                found.push_back(option);
            }
        }
    }
    return found;
}

std::vector<Option> Command::operands() const {
    std::vector<Option> found;
    for (const Option_Group &set : option_groups) {
        for (const Option &option : set.options) {
            if (option.is_operand()) {
                found.push_back(option);
            }
        }
    }
    return found;
}

Command parse_tree(const std::string &json) {
    return command_of(Json::parse(json));
}

} // namespace manual
