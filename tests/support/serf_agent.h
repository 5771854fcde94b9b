// SPDX-License-Identifier: Apache-2.0
// A simulated agent of the gossip engine Serf. It answers the questions of its clients on 127.0.0.1, and sends events
// and fails as the test orders. It shares no code with wispd, so it encodes with its own.
//
// All agents of a process share one thread. A member function returns when what it orders is in force.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace hb_test {

struct Simulated_Member {
    std::string name;
    std::string address = "10.1.0.1"; // IPv4 or IPv6; empty: none
    std::string status = "alive";
    std::map<std::string, std::string> tags = {};
};

// Returns members "n1" to "n<count>", each with its number as the tag hb_node and an address 10.<network>.x.y.
std::vector<Simulated_Member> simulated_members(int count, int network = 0);

struct Serf_Agent_Plan {
    std::string name = "n1";
    std::vector<Simulated_Member> members = {};
    std::string auth_key = {}; // empty: none is needed
    uint16_t port = 0;         // 0: any free one
};

class Serf_Agent {
  public:
    explicit Serf_Agent(const Serf_Agent_Plan &plan = {});
    Serf_Agent(const Serf_Agent &) = delete;
    Serf_Agent &operator=(const Serf_Agent &) = delete;
    // Closes everything.
    ~Serf_Agent();

    uint16_t port() const;
    // Returns "127.0.0.1:<port>".
    std::string address() const;

    // Members. The statistics follow them.
    void set_members(const std::vector<Simulated_Member> &members); // without an event
    // Sends one event to each stream, and changes nothing else.
    void send_event(const std::string &event, const std::vector<Simulated_Member> &members);
    // Changes the members of these names and sends one event with them: member-join (alive, added if they are new),
    // member-leave, member-failed, member-reap (removed).
    void change(const std::string &event, const std::vector<std::string> &names);
    // Adds the members or replaces those of the same names, and sends one event: member-join or member-update.
    void put(const std::string &event, const std::vector<Simulated_Member> &members);

    // Faults. They concern the open connections and later ones, except where stated.
    void disconnect();                         // closes the open connections
    void refuse();                             // closes also the port, until accept()
    void accept();                             // opens the same port again
    void stop_answering();                     // still accepts and reads
    void continue_answering();                 // answers also what was asked meanwhile
    void send_bytes(const std::string &bytes); // to the open connections
    // Sends only the first bytes of each answer to this command, and disconnects. An event's command is "event".
    void cut(const std::string &command, std::size_t bytes);
    // Sends each byte alone, and pauses after it; zero: sends as usual.
    void trickle(std::chrono::microseconds pause);
    // Sends events of a user's kind to each stream as fast as it is read.
    void flood(bool enabled);
    void answer_with_number(const std::string &command, uint64_t number); // instead of the question's
    // Answers the command with the error text; empty: as usual.
    void reject(const std::string &command, const std::string &error);

    // What happened since the start.
    unsigned connections() const;      // accepted
    unsigned open_connections() const; // now
    unsigned streams() const;          // now
    unsigned requests(const std::string &command) const;

  private:
    class Impl;
    std::shared_ptr<void> thread_; // ends after the agent
    std::shared_ptr<Impl> impl_;
};

} // namespace hb_test
