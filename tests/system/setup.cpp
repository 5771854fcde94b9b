// SPDX-License-Identifier: Apache-2.0
#include "tests/system/setup.h"

#include <ostream>

namespace hb_test {

Programs programs_of_this_build() {
    return {sizeof(void *) == 4 ? "32_bit" : "64_bit", HB_TEST_BIN_DIR};
}

std::string name_of(const testing::TestParamInfo<Setup> &info) {
    return info.param.name;
}

void PrintTo(const Setup &setup, std::ostream *out) {
    *out << setup.name;
}

} // namespace hb_test
