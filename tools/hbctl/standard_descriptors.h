// SPDX-License-Identifier: Apache-2.0
// Keeps standard input, output and error open, so that no other file can get their numbers.
#pragma once

namespace hbctl {

// Opens /dev/null for each one that is closed.
void ensure_standard_descriptors();

} // namespace hbctl
