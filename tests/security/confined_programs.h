// SPDX-License-Identifier: Apache-2.0
// The programs of this build. Their wispd applies the restrictions of its unit to itself.
#pragma once

#include <string>
#include <vector>

#include "tests/support/temp_dir.h"
#include "tests/system/setup.h"

namespace hb_test {

// Returns why the restrictions cannot be applied here; empty if they can.
std::string why_not_confined();
std::string confined_path();

class Confined_Programs {
  public:
    // wispd may write in these directories.
    explicit Confined_Programs(const std::vector<std::string> &writable);
    Programs programs() const { return {programs_of_this_build().abi, directory_.path()}; }

  private:
    Temp_Dir directory_;
};

} // namespace hb_test
