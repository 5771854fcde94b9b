// Which users made segments and semaphores of the system.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <sys/types.h>

namespace wispd {

// Remembers who made what stands under the keys that it was asked about.
class Ipc_Makers {
  public:
    // Whether there is anything under one of the keys.
    bool any_under(const std::array<int32_t, 3> &segments, int32_t semaphores);
    // Empty when none is known, as an object that this process may not read.
    std::optional<uid_t> most_frequent() const;

  private:
    bool note_segment(int32_t key);
    bool note_semaphores(int32_t key);

    std::map<uid_t, std::size_t> made_;
};

// "; user 1000 owns 4090 of 4096 segments", empty when the system does not list them.
std::string most_segments();

} // namespace wispd
