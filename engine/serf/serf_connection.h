// SPDX-License-Identifier: Apache-2.0
// One connection to one Serf agent. It never waits, starts no thread, and reads no clock.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/engine.h"
#include "engine/serf/serf_message.h"
#include "engine/serf/serf_report.h"
#include "host/descriptor.h"

namespace wispd {

struct Serf_Address {
    std::string host; // an IPv4 or IPv6 address, not a name
    uint16_t port = 7373;

    bool operator==(const Serf_Address &) const = default;
};

class Serf_Connection {
  public:
    using Time = std::chrono::steady_clock::time_point;

    // Begins to connect. Throws Engine_Gone.
    Serf_Connection(const Serf_Address &address, const std::string &auth_key, Time now);
    Serf_Connection(const Serf_Connection &) = delete;
    Serf_Connection &operator=(const Serf_Connection &) = delete;

    // Returns a descriptor that is readable when advance() has work to do. It never changes.
    int descriptor() const { return epoll_.get(); }
    // Returns when advance() must be called even though the descriptor is not readable; a past time: at once.
    Time next_due() const;
    // Does what is due. Returns the reports in the order in which they arrived. Throws Engine_Gone when the agent
    // disconnected, rejected a question, sent malformed bytes, or left a question unanswered for 2 s. Reports that
    // arrived before are returned first, and the next call throws.
    std::vector<Serf_Report> advance(Time now);

    // Returns whether the first list of all members has arrived.
    bool is_ready() const { return is_ready_; }
    // Returns the latest counts. They are asked for once a second.
    const std::optional<Serf_Counts> &counts() const { return counts_; }
    // Returns since when the oldest open question, or the attempt to connect, is without an answer.
    std::optional<Time> asked_since() const;
    // Asks for another list of all members with the next advance(). Ignored while one is expected.
    void ask_members() { wants_members_ = is_ready_; }

  private:
    struct Open_Question {
        Serf_Question question;
        Time since;
    };

    void work(std::vector<Serf_Report> &reports, Time now);
    bool finish_connecting();
    void ask(Serf_Question question, Time now);
    void ask_what_is_due(Time now);
    bool is_open(Serf_Question question) const;
    void receive(std::vector<Serf_Report> &reports, Time now);
    void decode(std::string_view bytes, std::vector<Serf_Report> &reports, Time now);
    void apply_answers(std::vector<Serf_Report> &reports, Time now);
    void continue_start(Serf_Question answered, Time now);
    void send_outgoing();
    void wait_for_socket();
    Time deadline() const;
    void check_deadline(Time now) const;
    [[noreturn]] void fail(const std::string &what) const;
    [[noreturn]] void fail_rejected(const Serf_Answer &answer) const;

    std::string name_; // for error texts
    std::string auth_key_;
    Descriptor epoll_;
    Descriptor socket_;
    uint32_t awaited_ = 0; // events of the socket that make the epoll descriptor readable
    bool is_connected_ = false;
    bool is_ready_ = false;
    bool wants_members_ = false;
    bool has_read_all_ = true; // as of the last advance()
    Time started_;
    Time next_counts_{};
    std::vector<Open_Question> open_; // in the order in which they were asked
    std::string outgoing_;            // what the socket has not accepted yet
    Serf_Decoder decoder_;
    std::optional<Serf_Counts> counts_;
    std::string failure_; // why the connection is unusable; empty: it is usable
};

} // namespace wispd
