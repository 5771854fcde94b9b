// SPDX-License-Identifier: Apache-2.0
#include "common/option_tree.h"

#include <algorithm>
#include <sstream>
#include <vector>

#include <nlohmann/json.hpp>

namespace common {
namespace {

using Json = nlohmann::ordered_json;

const std::string WORD_LIST = "words: ";

std::vector<std::string> split(const std::string &text) {
    std::vector<std::string> words;
    std::istringstream stream(text);
    for (std::string word; std::getline(stream, word, ',');) {
        words.push_back(word.substr(std::min(word.find_first_not_of(' '), word.size())));
    }
    return words;
}

std::vector<CLI::Validator *> validators_of(CLI::Option &option) {
    std::vector<CLI::Validator *> validators;
    try {
        for (int index = 0;; ++index) {
            validators.push_back(option.get_validator(index));
        }
    } catch (const CLI::OptionNotFound &) { // no further validator
        return validators;
    }
}

// CLI11 appends the descriptions of the validators to the type: "WHAT:{node,adapter}", "SECONDS:INT in [1 - 60]". A type
// can have a colon of its own: "ADDRESS:PORT".
std::string type_of(CLI::Option &option) {
    const std::string text = option.get_type_name();
    if (text.starts_with(':')) {
        return text.substr(1);
    }
    std::size_t appended = 0;
    for (const CLI::Validator *validator : validators_of(option)) {
        const std::string description = validator->get_description();
        appended += description.empty() ? 0 : description.size() + 1;
    }
    return text.substr(0, text.size() - appended);
}

std::vector<std::string> words_in_type(const CLI::Option &option) {
    const std::string text = option.get_type_name();
    const std::size_t begin = text.find('{');
    const std::size_t end = text.find('}');
    return begin < end && end != std::string::npos ? split(text.substr(begin + 1, end - begin - 1))
                                                   : std::vector<std::string>{};
}

std::vector<std::string> words_in_validators(CLI::Option &option) {
    for (const CLI::Validator *validator : validators_of(option)) {
        if (validator->get_name().starts_with(WORD_LIST)) {
            return split(validator->get_name().substr(WORD_LIST.size()));
        }
    }
    return {};
}

Json option_object(CLI::Option &option) {
    Json object;
    object["names"] = Json::array();
    for (const std::string &name : option.get_snames()) {
        object["names"].push_back("-" + name);
    }
    for (const std::string &name : option.get_lnames()) {
        object["names"].push_back("--" + name);
    }
    object["positional"] = option.get_positional() ? option.get_name(true) : "";
    const bool is_flag = !option.get_positional() && option.get_items_expected_max() == 0;
    object["type"] = is_flag ? "" : type_of(option);
    object["help"] = option.get_description();
    object["required"] = option.get_required();
    const std::vector<std::string> words = words_in_type(option);
    object["words"] = words.empty() ? words_in_validators(option) : words;
    return object;
}

Json visible_options(CLI::App &app) {
    Json options = Json::array();
    for (const CLI::Option *option : app.get_options()) {
        if (!option->get_group().empty()) {
            options.push_back(option_object(*app.get_option(option->get_name())));
        }
    }
    return options;
}

// CLI11 keeps a group of options as a subcommand without a name.
Json command_object(CLI::App &app) {
    Json object;
    object["name"] = app.get_name();
    object["group"] = app.get_group();
    object["help"] = app.get_description();
    object["footer"] = app.get_footer();
    object["options"] = visible_options(app);
    object["option_groups"] = Json::array();
    object["commands"] = Json::array();
    for (CLI::App *part : app.get_subcommands([](CLI::App *) { return true; })) {
        if (part->get_name().empty()) {
            object["option_groups"].push_back(
                {{"title", part->get_group()}, {"options", visible_options(*part)}});
        } else if (!part->get_group().empty()) {
            object["commands"].push_back(command_object(*part));
        }
    }
    return object;
}

} // namespace

void offer_option_tree(CLI::App &app) {
    const auto print = [&app] { throw CLI::CallForVersion(command_object(app).dump(2), 0); };
    app.add_flag_callback("--option-tree", print)->configurable(false)->group("");
}

std::string name_of_word_list(const std::string &words) {
    return WORD_LIST + words;
}

} // namespace common
