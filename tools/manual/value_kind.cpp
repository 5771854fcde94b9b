// SPDX-License-Identifier: Apache-2.0
#include "tools/manual/value_kind.h"

#include <map>

namespace manual {
namespace {

using Kind = Value::Kind;

Kind kind_of(const Option &option) {
    static const std::map<std::string, Kind> by_name{
        {"node", Kind::nodes},          {"--nodes", Kind::nodes},      {"adapter", Kind::adapters},
        {"--adapters", Kind::adapters}, {"--network", Kind::networks}, {"--exec", Kind::commands},
        {"config", Kind::files},        {"timeline", Kind::files},     {"which", Kind::as_the_word_before}};
    if (!option.words.empty()) {
        return Kind::words;
    }
    if (option.type == "PATH" || option.type == "FILE") {
        return Kind::files;
    }
    const auto found = by_name.find(option.is_operand() ? option.operand : option.long_name());
    return found != by_name.end() ? found->second : Kind::unknown;
}

} // namespace

std::string Value::verb() const {
    return kind == Kind::nodes ? "nodes" : kind == Kind::adapters ? "adapters" : "networks";
}

std::string Value::key() const {
    return kind == Kind::nodes ? "node" : kind == Kind::adapters ? "adapter" : "network";
}

Value value_of(const Option &option) {
    return {kind_of(option), option.words, option.type == "LIST"};
}

std::string joined(const std::vector<std::string> &words, const std::string &between) {
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : between) + word;
    }
    return text;
}

std::string first_line(const std::string &help) {
    return help.substr(0, help.find('\n'));
}

std::string without_head(const std::string &text) {
    return text.substr(text.find("\n\n") + 1);
}

std::string replaced(std::string text, const std::string &from, const std::string &to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

} // namespace manual
