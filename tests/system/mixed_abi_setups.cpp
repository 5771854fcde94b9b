// SPDX-License-Identifier: Apache-2.0
// Clients of both ABIs at once, with the daemon of either ABI.
#include "tests/system/setup.h"

namespace hb_test {

std::vector<Setup> setups() {
    const Programs own = programs_of_this_build();
    const Programs other{sizeof(void *) == 4 ? "64_bit" : "32_bit", HB_OTHER_ABI_BIN_DIR};
    const std::vector<Programs> both{own, other, own, other};
    return {{"daemon_" + own.abi + "_clients_of_both", own, both},
            {"daemon_" + other.abi + "_clients_of_both", other, both}};
}

} // namespace hb_test
