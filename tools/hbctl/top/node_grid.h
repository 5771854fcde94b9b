// SPDX-License-Identifier: Apache-2.0
// The grid of nodes by networks: one node a line with words while there is room, several a line with one character for
// each network otherwise.
#pragma once

#include <cstddef>
#include <vector>

#include "tools/hbctl/top/frame.h"
#include "tools/hbctl/top/node_list.h"
#include "tools/hbctl/top/top_model.h"

namespace hbctl {

struct Grid_Place {
    std::size_t width = 0;
    std::size_t height = 0; // with the heads; 0: as many lines as there are
    std::size_t first_row = 0;
    std::size_t first_network = 0;
    bool fresh = true; // the states are those of a daemon that answers
    bool heads = true; // show them if there is room
};

struct Node_Grid {
    std::vector<Text_Line> heads;
    std::vector<Text_Line> rows; // those on the screen
    std::size_t columns = 1;     // of nodes
    Scroll_Range range;
};

Node_Grid grid_of(const Top_Model &model, const Top_Summary &summary,
                  const std::vector<const Node_Row *> &nodes, const Grid_Place &place);

// What a character of the grid means, in a word and in a sentence.
struct Meaning_Of_Glyph {
    std::string glyph;
    std::string meaning;
    std::string explanation;
    Style style;
};
std::vector<Meaning_Of_Glyph> glyph_meanings(bool fresh);

} // namespace hbctl
