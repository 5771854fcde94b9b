// SPDX-License-Identifier: Apache-2.0
// A small client of a Serf agent's RPC socket. It shares no code with the daemon, so that tests can compare the
// daemon with it.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/deadline.h"
#include "tests/support/unique_fd.h"

namespace hb_test {

struct Serf_Member {
    std::string name;
    std::string address; // "127.10.0.1"
    std::string status;  // "alive", "leaving", "left", "failed"
    std::map<std::string, std::string> tags;
};

struct Serf_Event {
    std::string kind; // "member-failed" and so on
    std::vector<Serf_Member> members;
};

// "127.10.0.1:7373" in this process's network namespace; no descriptor if nothing listens there.
Unique_Fd connect_to_serf(const std::string &address);

// Every function throws if the agent disconnects, answers with an error, or does not answer in time.
class Serf_Rpc {
  public:
    // Greets the agent, with its key if it has one.
    explicit Serf_Rpc(Unique_Fd socket, const std::string &auth_key = "",
                      const Deadline &deadline = Deadline());
    Serf_Rpc(const Serf_Rpc &) = delete;
    Serf_Rpc &operator=(const Serf_Rpc &) = delete;
    ~Serf_Rpc();

    int descriptor() const;
    std::vector<Serf_Member> members(const Deadline &deadline = Deadline());
    // The counts of the agent, each as text: "members", "failed", "left" and others.
    std::map<std::string, std::string> counts(const Deadline &deadline = Deadline());
    // Lets the agent join these addresses, and exchange all that it knows with them.
    void join(const std::vector<std::string> &addresses, const Deadline &deadline = Deadline());
    // Asks for the events of all members.
    void stream(const Deadline &deadline = Deadline());
    // The next event; nothing at the deadline.
    std::optional<Serf_Event> next_event(const Deadline &deadline);

  private:
    struct Wire;
    std::unique_ptr<Wire> wire_;
};

} // namespace hb_test
