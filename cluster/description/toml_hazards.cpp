// SPDX-License-Identifier: Apache-2.0
#include "cluster/description/toml_hazards.h"

#include <algorithm>
#include <vector>

namespace wispd {

namespace {

constexpr int HEADER_BRACKETS_MOST = 2; // in the header of an array of tables

class Scanner {
  public:
    explicit Scanner(std::string_view document) : document_(document) {}

    std::optional<Toml_Hazard> find() {
        while (place_ < document_.size()) {
            step();
            if (header_is_bad_) {
                Toml_Hazard hazard = here();
                hazard.is_bad_header = true;
                return hazard;
            }
            if (depth() > TOML_NESTING_DEEPEST) {
                return here();
            }
        }
        return std::nullopt;
    }

  private:
    // Returns the depth: parts of the current table's name, dots in open keys, and open brackets.
    std::size_t depth() const { return (in_header_ ? 0 : table_) + all_dots_ + dots_.size() - 1; }
    bool at_top() const { return dots_.size() == 1; }

    void step() {
        switch (document_[place_]) {
        case '#':
            place_ = std::min(document_.find('\n', place_), document_.size());
            return;
        case '"':
        case '\'':
            skip_string(document_[place_]);
            return;
        case '.':
            ++dots_.back();
            ++all_dots_;
            break;
        case '=':
            in_value_ = in_value_ || at_top();
            break;
        case '[':
        case '{':
            open();
            break;
        case ']':
        case '}':
            close();
            break;
        case ',':
            forget_dots();
            break;
        case '\n':
            end_line();
            break;
        default:
            break;
        }
        ++place_;
    }

    void open() {
        if (at_top() && !in_value_) {
            in_header_ = true;
            ++header_brackets_;
            header_is_bad_ = header_brackets_ > HEADER_BRACKETS_MOST || !name_follows();
        } else {
            dots_.push_back(0);
        }
    }

    // The parser assumes that a key follows the brackets of a header.
    bool name_follows() const {
        const std::size_t next = document_.find_first_not_of(" \t", place_ + 1);
        if (next == std::string_view::npos) {
            return false;
        }
        const char first = document_[next];
        const bool is_letter = (first >= 'a' && first <= 'z') || (first >= 'A' && first <= 'Z');
        const bool is_digit = first >= '0' && first <= '9';
        return is_letter || is_digit || std::string_view("_-\"'[").find(first) != std::string_view::npos;
    }

    void close() {
        if (!at_top()) {
            forget_dots();
            dots_.pop_back();
        }
    }

    void forget_dots() {
        all_dots_ -= dots_.back();
        dots_.back() = 0;
    }

    // A line end inside brackets does not end the value.
    void end_line() {
        if (!at_top()) {
            return;
        }
        if (in_header_) {
            table_ = dots_.back() + 1;
        }
        forget_dots();
        in_header_ = in_value_ = false;
        header_brackets_ = 0;
    }

    void skip_string(char quote) {
        const char three[] = {quote, quote, quote};
        if (document_.substr(place_, 3) == std::string_view(three, 3)) {
            place_ += 3;
            skip_to(std::string_view(three, 3), quote == '"');
            // Up to two quotes before the closing three belong to the string.
            for (int i = 0; i < 2 && place_ < document_.size() && document_[place_] == quote; ++i) {
                ++place_;
            }
        } else {
            ++place_;
            skip_to(std::string_view(three, 1), quote == '"');
        }
    }

    // Moves behind the end of a string. The parser rejects a single-line string that does not end in its line.
    void skip_to(std::string_view end, bool has_escapes) {
        while (place_ < document_.size() && document_.substr(place_, end.size()) != end) {
            if (end.size() == 1 && document_[place_] == '\n') {
                return;
            }
            place_ += has_escapes && document_[place_] == '\\' ? std::size_t{2} : std::size_t{1};
        }
        place_ = std::min(place_ + end.size(), document_.size());
    }

    Toml_Hazard here() const {
        const std::string_view before = document_.substr(0, place_);
        const auto line = static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
        const std::size_t start = before.rfind('\n');
        return {line + 1, start == std::string_view::npos ? place_ : place_ - start - 1};
    }

    std::string_view document_;
    std::size_t place_ = 0;
    std::vector<std::size_t> dots_{0}; // dots of the key and value at the top, and within each open bracket
    std::size_t all_dots_ = 0;
    std::size_t table_ = 0;
    bool in_header_ = false;
    int header_brackets_ = 0;
    bool header_is_bad_ = false;
    bool in_value_ = false;
};

} // namespace

std::optional<Toml_Hazard> find_toml_hazard(std::string_view document) {
    return Scanner(document).find();
}

} // namespace wispd
