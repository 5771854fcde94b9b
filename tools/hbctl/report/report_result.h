// SPDX-License-Identifier: Apache-2.0
// What `report` prints about itself.
#pragma once

#include <cstddef>
#include <string>

namespace hbctl {

struct Report_Result {
    std::string file;
    std::size_t parts = 0;
    std::size_t failed = 0;
};

} // namespace hbctl
