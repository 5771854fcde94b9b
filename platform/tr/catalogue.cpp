// SPDX-License-Identifier: Apache-2.0
#include "catalogue.h"

#include <algorithm>
#include <charconv>

#include "message_text.h"

namespace qz_tr {

namespace {

constexpr std::string_view BLANKS = " \t";

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(BLANKS);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

// Removes the first word of `rest` and returns it.
std::string_view take_word(std::string_view &rest) {
    const std::size_t end = std::min(rest.find_first_of(BLANKS), rest.size());
    const std::string_view word = rest.substr(0, end);
    rest = trimmed(rest.substr(end));
    return word;
}

bool parse_id(std::string_view word, uint32_t &id) {
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), id);
    return error == std::errc{} && end == word.data() + word.size() && id != 0;
}

std::string quoted(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

class Parser {
  public:
    explicit Parser(std::vector<Catalogue_Fault> &found_faults) : faults_(found_faults) {}

    void take_line(std::string_view line) {
        ++line_number_;
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        line = trimmed(line);
        if (line.empty() || line.front() == '#') {
            return;
        }
        if (line.front() == '[') {
            take_component(line);
        } else {
            take_message(line);
        }
    }

    Catalogue catalogue;

  private:
    void fault(std::string what) { faults_.push_back({line_number_, std::move(what)}); }

    void take_component(std::string_view line) {
        current_ = nullptr;
        const std::string_view name = trimmed(line.substr(1, line.size() - (line.back() == ']' ? 2 : 1)));
        if (line.back() != ']' || name.empty()) {
            in_faulty_component_ = true;
            fault("names no component; write [COMPONENT], for example [_HBC]");
            return;
        }
        in_faulty_component_ = false;
        for (Catalogue_Component &component : catalogue.components) {
            if (component.name == name) {
                current_ = &component;
                return;
            }
        }
        current_ = &catalogue.components.emplace_back(Catalogue_Component{std::string(name), {}});
    }

    void take_message(std::string_view line) {
        std::string_view rest = line;
        const std::string_view number = take_word(rest);
        const std::string_view category = take_word(rest);
        uint32_t id = 0;
        if (!parse_id(number, id)) {
            fault(quoted(number) + " is not a record number from 1 to 4294967295; write NUMBER CATEGORY TEXT");
        } else if (category.empty()) {
            fault("record " + std::string(number) + " has no category; write NUMBER CATEGORY TEXT");
        } else if (const char *what = fault_of_text(rest)) {
            fault("record " + std::string(number) + " " + what);
        } else if (current_ == nullptr) {
            // The faulty component line was already reported. Do not report each line below it.
            if (!in_faulty_component_) {
                fault("record " + std::string(number) + " is before the first [COMPONENT] line");
            }
        } else {
            insert({id, std::string(category), std::string(rest)});
        }
    }

    void insert(Message message) {
        const auto at = std::lower_bound(current_->messages.begin(), current_->messages.end(), message.id,
                                         [](const Message &m, uint32_t id) { return m.id < id; });
        if (at != current_->messages.end() && at->id == message.id) {
            fault("record " + std::to_string(message.id) + " has a text already; the first one is used");
            return;
        }
        current_->messages.insert(at, std::move(message));
    }

    std::vector<Catalogue_Fault> &faults_;
    std::size_t line_number_ = 0;
    Catalogue_Component *current_ = nullptr;
    bool in_faulty_component_ = false;
};

} // namespace

const Message *Catalogue::find(std::string_view component, uint32_t id) const {
    for (const Catalogue_Component &candidate : components) {
        if (candidate.name != component) {
            continue;
        }
        const auto at = std::lower_bound(candidate.messages.begin(), candidate.messages.end(), id,
                                         [](const Message &m, uint32_t wanted) { return m.id < wanted; });
        return at != candidate.messages.end() && at->id == id ? &*at : nullptr;
    }
    return nullptr;
}

Catalogue parse_catalogue(std::string_view text, std::vector<Catalogue_Fault> &faults) {
    Parser parser(faults);
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        parser.take_line(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return std::move(parser.catalogue);
}

} // namespace qz_tr
