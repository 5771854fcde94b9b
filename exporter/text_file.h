// SPDX-License-Identifier: Apache-2.0
// Writes the metrics to a file that a textfile collector reads.
#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "exporter/snapshot_board.h"

namespace exporter {

// Replaces the file as a whole, so readers see the old text or the new one. Throws std::system_error.
void write_whole_file(const std::string &path, const std::string &text);

class Text_File {
  public:
    // Writes the file for the first time; throws std::system_error.
    Text_File(std::string path, std::shared_ptr<const Snapshot_Board> board, std::chrono::milliseconds stale,
              std::chrono::milliseconds interval);

    // Writes the file at each change, when contact is lost or returns, and after each interval. Logs a write that fails, and
    // tries again. Never returns.
    [[noreturn]] void run();

    // Removes the file, and keeps run() from writing it again: a collector would serve it for ever. Does nothing if
    // a write is under way that does not end soon.
    void remove();

  private:
    void write();
    void write_again();
    bool differs_from_written(const Snapshot &snapshot, Steady_Time now) const;
    Steady_Time next_time() const;

    std::timed_mutex writing_; // remove() never releases it
    const std::string path_;
    const std::shared_ptr<const Snapshot_Board> board_;
    const std::chrono::milliseconds stale_;
    const std::chrono::milliseconds interval_;
    Steady_Time written_;
    std::uint64_t written_changes_ = 0;
    bool written_up_ = false;
    bool failed_ = false;
};

} // namespace exporter
