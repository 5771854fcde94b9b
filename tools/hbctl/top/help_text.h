// SPDX-License-Identifier: Apache-2.0
// The help that `hbctl top` shows.
#pragma once

#include <vector>

#include "tools/hbctl/top/frame.h"

namespace hbctl {

std::vector<Text_Line> help_lines(std::size_t width);

} // namespace hbctl
