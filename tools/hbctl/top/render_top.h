// SPDX-License-Identifier: Apache-2.0
// Makes the frame of `hbctl top`: what is known and what the user chose, laid out for a width and a height.
#pragma once

#include <cstddef>

#include "tools/hbctl/top/frame.h"
#include "tools/hbctl/top/top_model.h"
#include "tools/hbctl/top/top_view.h"

namespace hbctl {

struct Frame_Size {
    std::size_t columns = 80;
    std::size_t rows = 24; // 0: as many as there is to show
};

// For a screen: every row is used, and the last one shows the keys.
Frame screen_frame(const Top_Model &model, const Top_View &view, const Frame_Size &size, const Moment &now);

// For a file or a terminal that scrolls: without events and keys.
Frame plain_frame(const Top_Model &model, const Frame_Size &size, const Moment &now);

} // namespace hbctl
