// One wispd for each socket: a locked file beside the socket, which also remembers what its holder made, so
// that the next one can remove what a killed one left behind.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>

#include "host/descriptor.h"

namespace wispd {

// Who made which segments and semaphores.
struct Ipc_Record {
    pid_t pid = 0;
    std::array<int32_t, 3> segment_keys{};
    int32_t semaphore_key = 0;

    bool operator==(const Ipc_Record &) const = default;
};

std::string format_record(const Ipc_Record &record);
// Empty when the text is no whole record.
std::optional<Ipc_Record> parse_record(const std::string &text);

class Instance_Lock {
  public:
    // Throws Start_Failure when another process that may be wispd holds it, naming that one, and when there is a file
    // that is no lock of wispd's. A lock that some other account holds is replaced, with a line in the log.
    explicit Instance_Lock(const std::string &path);
    Instance_Lock(const Instance_Lock &) = delete;
    Instance_Lock &operator=(const Instance_Lock &) = delete;
    ~Instance_Lock();

    // What the last holder made and did not remove.
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
