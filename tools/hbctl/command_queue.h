// SPDX-License-Identifier: Apache-2.0
// Runs a command for each event, one after the other, while the caller goes on reading events.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace hbctl {

struct Command_Call {
    std::string input;                    // for the command's standard input
    std::vector<std::string> environment; // "NAME=value", added to this process's variables
};

// How much may wait for the command.
struct Queue_Limits {
    std::size_t calls = 100'000;
    std::size_t bytes = std::size_t{64} * 1024 * 1024;
};

class Command_Queue {
  public:
    // The shell runs the command. Throws std::system_error.
    explicit Command_Queue(const std::string &command, const Queue_Limits &limits = {});
    // Does not wait. A command that runs continues; those that wait are not run.
    ~Command_Queue();
    Command_Queue(const Command_Queue &) = delete;
    Command_Queue &operator=(const Command_Queue &) = delete;

    // Returns false, and drops the call, if the limits are reached. The next call that is accepted has the number of
    // dropped ones in HB_DROPPED.
    bool add(Command_Call call);

    // Accepts no more calls. The descriptor becomes readable when the last one has ended.
    int close();

    std::size_t left() const; // calls that have not ended
    std::size_t dropped() const;

  private:
    struct State;
    static void work(const std::shared_ptr<State> &state);

    std::shared_ptr<State> state_; // shared with the thread that runs the commands
};

} // namespace hbctl
