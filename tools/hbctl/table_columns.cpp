// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/table_columns.h"

#include <algorithm>
#include <cctype>

namespace hbctl {
namespace {

std::string upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char byte) { return static_cast<char>(std::toupper(byte)); });
    return text;
}

std::string headings_text(const std::vector<Column> &columns) {
    std::string text;
    for (const Column &column : columns) {
        text += (text.empty() ? "" : ", ") + column.heading;
    }
    return text;
}

} // namespace

const std::vector<Column> &node_columns() {
    static const std::vector<Column> columns{{"NODE", Align::right},       {"NAME"},     {"LOCAL"},
                                             {"STATE", Align::left, true}, {"ADAPTERS"}, {"ADDRESSES"}};
    return columns;
}

const std::vector<Column> &network_columns() {
    static const std::vector<Column> columns{
        {"NETWORK", Align::right}, {"NAME"}, {"TYPE"}, {"ADAPTERS", Align::right}, {"UP", Align::right}};
    return columns;
}

const std::vector<Column> &adapter_columns() {
    static const std::vector<Column> columns{{"ADAPTER", Align::right},
                                             {"NAME"},
                                             {"NODE", Align::right},
                                             {"NETWORK"},
                                             {"ADDRESS"},
                                             {"TYPE"},
                                             {"LOCAL"},
                                             {"STATE", Align::left, true}};
    return columns;
}

const std::vector<Column> &site_columns() {
    static const std::vector<Column> columns{{"SITE", Align::right}};
    return columns;
}

const std::vector<Column> &adapter_state_columns() {
    static const std::vector<Column> columns{{"ADAPTER", Align::right}, {"NAME"}, {"STATE", Align::left, true}};
    return columns;
}

Column_Choice choose_columns(const std::string &words, const std::vector<Column> &columns) {
    Column_Choice choice;
    for (std::size_t at = 0; at <= words.size();) {
        const std::size_t end = std::min(words.find(',', at), words.size());
        const std::string word = words.substr(at, end - at);
        const std::string heading = upper(word);
        const bool is_known = std::any_of(columns.begin(), columns.end(),
                                          [&](const Column &column) { return column.heading == heading; });
        if (!is_known) {
            choice.complaint = "'" + word + "' is not a column; expected " + headings_text(columns);
            return choice;
        }
        choice.headings.push_back(heading);
        at = end + 1;
    }
    return choice;
}

} // namespace hbctl
