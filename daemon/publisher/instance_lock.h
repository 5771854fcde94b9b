// SPDX-License-Identifier: Apache-2.0
// Permits one wispd for each socket, by a locked file beside the socket.
//
// The file also records what its holder created. The next wispd can then remove what a killed wispd left
// behind.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>

#include "host/descriptor.h"

namespace wispd {

// A process, and the keys of the segments and semaphores that it created.
struct Ipc_Record {
    pid_t pid = 0;
    std::array<int32_t, 3> segment_keys{};
    int32_t semaphore_key = 0;

    bool operator==(const Ipc_Record &) const = default;
};

std::string format_record(const Ipc_Record &record);
// Returns nothing if the text is not a complete record.
std::optional<Ipc_Record> parse_record(const std::string &text);

class Instance_Lock {
  public:
    // Throws Start_Failure if the path names anything but a lock file of wispd. Also throws, naming the holder,
    // if a process that may be wispd holds the lock. A lock of any other process is replaced and logged.
    explicit Instance_Lock(const std::string &path);
    Instance_Lock(const Instance_Lock &) = delete;
    Instance_Lock &operator=(const Instance_Lock &) = delete;
    ~Instance_Lock();

    // Returns what the last holder created and did not remove.
    const std::optional<Ipc_Record> &left_behind() const { return left_behind_; }
    void write(const Ipc_Record &record);

  private:
    bool attempt_to_lock();
    void note_left_behind();

    std::string path_;
    Descriptor file_;
    std::optional<Ipc_Record> left_behind_;
};

} // namespace wispd
