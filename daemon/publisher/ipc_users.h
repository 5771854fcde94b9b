// SPDX-License-Identifier: Apache-2.0
// Finds the users that created segments and semaphores of the system.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <sys/types.h>

namespace wispd {

// Records the creators of the objects under the requested keys.
class Ipc_Makers {
  public:
    // Returns true if an object exists under any of the keys.
    bool any_under(const std::array<int32_t, 3> &segments, int32_t semaphores);
    // Returns the user that created most of the objects. Returns nothing if no creator is known, for example if
    // this process may not read the objects.
    std::optional<uid_t> most_frequent() const;

  private:
    bool note_segment(int32_t key);
    bool note_semaphores(int32_t key);

    std::map<uid_t, std::size_t> made_;
};

// Returns for example "; user 1000 owns 4090 of 4096 segments". Returns an empty string if the system does not
// list them.
std::string most_segments();

} // namespace wispd
