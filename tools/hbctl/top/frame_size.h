// SPDX-License-Identifier: Apache-2.0
// The size of a frame that is printed as text.
#pragma once

#include "tools/hbctl/arguments.h"
#include "tools/hbctl/top/render_top.h"

namespace hbctl {

// The user's options first, then COLUMNS, then the terminal that standard output is.
Frame_Size frame_size(const Top_Options &options);

} // namespace hbctl
