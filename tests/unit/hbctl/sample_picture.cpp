// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/hbctl/sample_picture.h"

namespace hbctl_test {

using namespace hbctl;

Picture sample_picture() {
    Picture picture;
    picture.local_node = 1;
    picture.nodes = {{1, true, Liveness::unknown, {2, 3}}, {2, false, Liveness::unknown, {4, 5}}};
    picture.networks = {{0, "net_a", "ether", {2, 4}}, {1, "net_b", "", {3, 5}}};
    picture.adapters = {{2, 1, 0, "10.1.0.1", "eth0", Liveness::unknown},
                        {3, 1, 1, "10.2.0.1", "eth1", Liveness::unknown},
                        {4, 2, 0, "10.1.0.2", "eth0", Liveness::unknown},
                        {5, 2, 1, "10.2.0.2", "eth1", Liveness::unknown}};
    picture.index();
    return picture;
}

} // namespace hbctl_test
