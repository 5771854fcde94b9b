// SPDX-License-Identifier: Apache-2.0
// Memory that a benchmark shares with its client processes: each notes there when it received something.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

struct Arrival_Page {
    std::atomic<uint32_t> expected; // this many processes
    std::atomic<uint32_t> arrived;
    std::atomic<uint64_t> last_nanoseconds; // of the monotonic clock
};

class Arrival_Board {
  public:
    // Creates the file, or opens the one that another process created. Throws std::system_error.
    static Arrival_Board create(const std::string &path, unsigned expected);
    static Arrival_Board open(const std::string &path);
    Arrival_Board(Arrival_Board &&other) noexcept;
    Arrival_Board(const Arrival_Board &) = delete;
    Arrival_Board &operator=(const Arrival_Board &) = delete;
    ~Arrival_Board();

    void begin();
    // Notes one arrival, now. The last one wakes the waiting process.
    void arrive();
    // Waits for all, and returns the time of the last arrival in seconds of the monotonic clock. Throws after a minute.
    double wait_for_all() const;

  private:
    explicit Arrival_Board(Arrival_Page *page) : page_(page) {}
    static Arrival_Board map(const std::string &path, int flags);

    Arrival_Page *page_;
};
