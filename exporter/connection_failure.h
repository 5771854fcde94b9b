// SPDX-License-Identifier: Apache-2.0
// Why the exporter cannot use the daemon, in words that name the remedy.
#pragma once

#include <string>

namespace exporter {

// Returns one line for the library's error. The library reports every failed connection alike, so this connects to the
// path once more to find out why.
std::string connection_failure(const std::string &path, int error);

} // namespace exporter
