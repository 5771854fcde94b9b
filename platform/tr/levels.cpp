// SPDX-License-Identifier: Apache-2.0
#include "levels.h"

#include <algorithm>
#include <charconv>

namespace qz_tr {

namespace {

constexpr std::string_view BLANKS = " \t\r\n";
constexpr uint32_t HIGHEST_LEVEL = 255;

// A part of the value, and its position.
struct Piece {
    std::string_view text;
    std::size_t column;
};

Piece trimmed(Piece piece) {
    const std::size_t first = std::min(piece.text.find_first_not_of(BLANKS), piece.text.size());
    piece.text.remove_prefix(first);
    piece.column += first;
    piece.text = piece.text.substr(0, piece.text.find_last_not_of(BLANKS) + 1);
    return piece;
}

std::string quoted(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

bool parse_level(std::string_view text, std::optional<uint8_t> &level) {
    if (text == "default") {
        level.reset();
        return true;
    }
    uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size() || number > HIGHEST_LEVEL) {
        return false;
    }
    level = static_cast<uint8_t>(number);
    return true;
}

class Parser {
  public:
    void begin_anew() { component_.clear(); }

    void take(Piece item) {
        item = trimmed(item);
        if (item.text.empty()) {
            return;
        }
        const std::size_t column = item.column;
        const std::string whole = quoted(item.text);
        if (const std::size_t colon = item.text.find(':'); colon != std::string_view::npos) {
            component_ = trimmed({item.text.substr(0, colon), 0}).text;
            if (component_.empty()) {
                fault(column, whole + " has no component before its colon");
                return;
            }
            item = trimmed({item.text.substr(colon + 1), 0});
        }
        Level_Setting setting{component_, {}, {}, column};
        if (const std::size_t equals = item.text.find('='); equals != std::string_view::npos) {
            setting.category = trimmed({item.text.substr(0, equals), 0}).text;
            if (setting.category.empty()) {
                fault(column, whole + " has no category before its equals sign");
                return;
            }
            if (setting.category == "*") {
                setting.category.clear();
            }
            item = trimmed({item.text.substr(equals + 1), 0});
        }
        if (!parse_level(item.text, setting.level)) {
            fault(column, item.text.empty() ? whole + " has no level"
                                            : whole + ": " + quoted(item.text) +
                                                  " is not a level from 0 to 255 or \"default\"");
            return;
        }
        result.settings.push_back(std::move(setting));
    }

    Level_Settings result;

  private:
    void fault(std::size_t column, std::string what) { result.faults.push_back({column, std::move(what)}); }

    std::string component_;
};

bool means(const Level_Setting &setting, std::string_view component) {
    return setting.component.empty() || setting.component == component;
}

} // namespace

Level_Settings parse_levels(std::string_view value) {
    Parser parser;
    for (std::size_t at = 0; at <= value.size();) {
        const std::size_t end = std::min(value.find_first_of(",;", at), value.size());
        parser.take({value.substr(at, end - at), at + 1});
        if (end < value.size() && value[end] == ';') {
            parser.begin_anew();
        }
        at = end + 1;
    }
    return std::move(parser.result);
}

uint8_t level_of(std::span<const Level_Setting> settings, std::string_view component,
                 const tr_category_description_t &category) {
    uint32_t level = category.default_level_of_detail;
    for (const Level_Setting &setting : settings) {
        if (means(setting, component) &&
            (setting.category.empty() || setting.category == category.category_name)) {
            level = setting.level ? *setting.level : category.default_level_of_detail;
        }
    }
    return static_cast<uint8_t>(std::min(std::max(level, category.minimum_level_of_detail), HIGHEST_LEVEL));
}

std::vector<Level_Fault> unknown_categories(std::span<const Level_Setting> settings, std::string_view component,
                                            std::span<const tr_category_description_t> categories) {
    std::string known;
    for (const tr_category_description_t &category : categories) {
        known += (known.empty() ? "" : ", ") + quoted(category.category_name);
    }
    std::vector<Level_Fault> faults;
    for (const Level_Setting &setting : settings) {
        const auto is_named = [&](const tr_category_description_t &category) {
            return setting.category == category.category_name;
        };
        if (means(setting, component) && !setting.category.empty() &&
            std::none_of(categories.begin(), categories.end(), is_named)) {
            faults.push_back({setting.column, "component " + quoted(component) + " has no category " +
                                                  quoted(setting.category) + ", but " + known});
        }
    }
    return faults;
}

} // namespace qz_tr
