// SPDX-License-Identifier: Apache-2.0
// Configuration files of wispd for benchmarks.
#pragma once

#include <string>

// This many nodes, each with an adapter in each network, all up.
std::string cluster_file(int nodes, int networks);
