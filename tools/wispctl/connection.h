// SPDX-License-Identifier: Apache-2.0
// wispctl's connection to the control socket of wispd. No call waits beyond its deadline.
#pragma once

#include <chrono>
#include <stdexcept>
#include <string>

namespace wispctl {

// what() is the line that the user reads.
class Failure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Every function throws Failure, also when `patience` has passed since the construction.
class Connection {
  public:
    Connection(const std::string &path, std::chrono::milliseconds patience);
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;
    ~Connection();

    // Sends a line, and returns the line of the answer. wispd carries out a command that changes something also when
    // its sender has given up; the failure then says so.
    std::string ask(const std::string &line, bool changes);
    // Waits until wispd disconnects, which it does at its end.
    void wait_for_end();

  private:
    void connect();
    void send_line(const std::string &line);
    bool read_more(std::string &into);
    // Returns false at the deadline.
    bool wait_for(short events) const;
    [[noreturn]] void fail_late() const;

    const std::string path_;
    const std::chrono::milliseconds patience_;
    const std::chrono::steady_clock::time_point deadline_;
    const int socket_;
    bool can_still_act_ = false;
};

} // namespace wispctl
