// SPDX-License-Identifier: Apache-2.0
// Memory that the process has freed and the allocator still keeps.
#pragma once

namespace wispd {

// Returns it to the system. Reading a large file needs many times the memory of its result, and the allocator would keep
// all of it for as long as the process runs.
void return_unused_memory();

} // namespace wispd
