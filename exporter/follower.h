// SPDX-License-Identifier: Apache-2.0
// Follows the cluster through the library and publishes what it learns. It owns the library: no other thread calls
// it. A call may block for as long as wispd is stopped; readers of the board then see the last contact grow older.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "exporter/cluster_file_watch.h"
#include "exporter/snapshot.h"
#include "exporter/snapshot_board.h"
#include "hb_client.h"

namespace exporter {

class Follower {
  public:
    // wispd is silent when it sends nothing for longer than `stale`.
    Follower(std::shared_ptr<Snapshot_Board> board, std::chrono::milliseconds stale);

    // Connects, follows, and connects again after a loss. Never returns.
    [[noreturn]] void run();

  private:
    enum class Outcome { proceed, lost };

    bool connect();
    bool read_configuration();
    bool subscribe();
    bool get_descriptors();
    void follow();
    bool wait_for_daemon() const;
    Outcome read_one();
    Outcome apply(int kind, const Hb_Name &name, std::uint32_t sequence);
    Outcome apply_event(int kind);
    void apply_members(int kind);
    void send_probe();
    bool is_probe_due() const;
    void note_contact();
    bool note_silence();
    Steady_Time moment_of_silence() const;
    bool read_about();
    void remember_own(const char *event, const std::string &what);
    void publish_change();
    void report_failure();

    const std::shared_ptr<Snapshot_Board> board_;
    const std::chrono::milliseconds stale_;
    Snapshot snapshot_;
    Cluster_File_Watch cluster_file_;
    Sequence_Check sequence_;
    std::vector<int> descriptors_;          // ends with -1
    const std::unique_ptr<Hb_Group> group_; // far too large for a stack
    Steady_Time next_probe_;
    bool probe_unanswered_ = false;
    bool was_connected_ = false;
    bool silent_ = false;          // on this connection
    std::string reported_failure_; // of the attempts to connect; a repeated one is logged once
};

} // namespace exporter
