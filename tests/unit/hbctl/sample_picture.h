// SPDX-License-Identifier: Apache-2.0
// A small cluster for the tests: local node 1 and node 2 with two adapters each, nodes 1 and 2 on two networks.
#pragma once

#include "tools/hbctl/cluster_picture.h"

namespace hbctl_test {

// All states are unknown.
hbctl::Picture sample_picture();

} // namespace hbctl_test
