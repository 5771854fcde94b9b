// SPDX-License-Identifier: Apache-2.0
// The daemon and its clients come from this build.
#include "tests/system/setup.h"

namespace hb_test {

std::vector<Setup> setups() {
    const Programs own = programs_of_this_build();
    return {{"daemon_and_clients_" + own.abi, own, {own, own, own}}};
}

} // namespace hb_test
