// SPDX-License-Identifier: Apache-2.0
// Parses the value of QZ_TR_LEVELS, which sets the level of detail of each category.
//
//     value    =  settings { ";" settings }            each ";" starts again with all components
//     settings =  item { "," item }
//     item     =  [ component ":" ] setting            the component applies up to the next one or ";"
//     setting  =  [ ( category | "*" ) "=" ] level     without a category: all categories
//     level    =  0 to 255 | "default"
//
// Spaces between the parts are ignored. Settings override the categories' defaults in order.
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
    std::optional<uint8_t> level; // empty: the category's default
    std::size_t column = 0;       // position in the value, counted from 1
};

struct Level_Fault {
    std::size_t column = 0;
    std::string what;
};

struct Level_Settings {
    std::vector<Level_Setting> settings;
    std::vector<Level_Fault> faults; // malformed settings, which are ignored
};

Level_Settings parse_levels(std::string_view value);

// Returns the level of one category of a component.
uint8_t level_of(std::span<const Level_Setting> settings, std::string_view component,
                 const tr_category_description_t &category);

// Returns a fault for each setting that names a category which the component does not have.
std::vector<Level_Fault> unknown_categories(std::span<const Level_Setting> settings, std::string_view component,
                                            std::span<const tr_category_description_t> categories);

} // namespace qz_tr
