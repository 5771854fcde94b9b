// SPDX-License-Identifier: Apache-2.0
// Serves the live page, its events, /metrics and /health. It renders the latest snapshot and never asks wispd, so no
// answer waits for it.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "exporter/arguments.h"
#include "exporter/snapshot_board.h"

namespace exporter {

class Bounded_Server;

class Http_Service {
  public:
    // Throws std::runtime_error if the address cannot be used.
    Http_Service(const Listen_Address &address, std::shared_ptr<const Snapshot_Board> board,
                 std::chrono::milliseconds stale);
    ~Http_Service();

    // For instance http://127.0.0.1:9782, with the port that is in use.
    const std::string &url() const { return url_; }

    // Serves until the process ends.
    void run();

  private:
    void add_guard(bool only_this_machine);
    void add_reports(const std::shared_ptr<const Snapshot_Board> &board, std::chrono::milliseconds stale);
    void add_page(const std::shared_ptr<const Snapshot_Board> &board, std::chrono::milliseconds stale);
    void bind(const Listen_Address &address);

    const std::unique_ptr<Bounded_Server> server_;
    std::string url_;
};

} // namespace exporter
