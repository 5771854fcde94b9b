// The value of QZ_TR_LEVELS: which level of detail each category gets.
//
//     value    =  settings { ";" settings }           each ";" begins anew with every component
//     settings =  item { "," item }
//     item     =  [ component ":" ] setting           the component holds up to the next one or the next ";"
//     setting  =  [ ( category | "*" ) "=" ] level     without a category: all of them
//     level    =  0 to 255 | "default"
//
// Blanks between the parts mean nothing. Settings are applied in order on the categories' defaults.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "qz_tr.h"

namespace qz_tr {

struct Level_Setting {
    std::string component;        // empty: every component
    std::string category;         // empty: every category
    std::optional<uint8_t> level; // none: the category's default
    std::size_t column = 0;       // where it stands in the value, from 1
};

struct Level_Fault {
    std::size_t column = 0;
    std::string what;
};

struct Level_Settings {
    std::vector<Level_Setting> settings;
    std::vector<Level_Fault> faults; // malformed settings, which are left out
};

Level_Settings parse_levels(std::string_view value);

// The level of one category of a component.
uint8_t level_of(std::span<const Level_Setting> settings, std::string_view component,
                 const tr_category_description_t &category);

// The settings that mean this component and name a category that it does not have.
std::vector<Level_Fault> unknown_categories(std::span<const Level_Setting> settings, std::string_view component,
                                            std::span<const tr_category_description_t> categories);

} // namespace qz_tr
