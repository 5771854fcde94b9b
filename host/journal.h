// SPDX-License-Identifier: Apache-2.0
// Writes log lines to the system's journal.
#pragma once

#include <string>
#include <string_view>

#include "host/descriptor.h"
#include "host/log_fields.h"

namespace wispd {

// Returns whether standard error is the stream that the service manager connected to the journal (JOURNAL_STREAM).
bool stderr_is_journal();

// The level of the system log: 3 error, 4 warning, 6 information, 7 debugging.
using Priority = int;

class Journal {
  public:
    static constexpr const char *SOCKET = "/run/systemd/journal/socket";
    // The journal rejects an entry with more than 1024 fields.
    static constexpr std::size_t NODES_MOST = 512;

    explicit Journal(std::string path = SOCKET);

    // Writes one entry. Returns false if the journal does not accept it, for example because it does not run.
    bool write(Priority priority, std::string_view line, const Log_Fields &fields) const;

  private:
    std::string path_;
    Descriptor socket_;
};

} // namespace wispd
