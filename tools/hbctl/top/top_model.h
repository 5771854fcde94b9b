// SPDX-License-Identifier: Apache-2.0
// What `hbctl top` knows of the cluster and its daemon, as plain data.
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/hbctl/cluster_picture.h"
#include "tools/hbctl/event_record.h"

namespace hbctl {

// One moment on both clocks: the first is shown, the second is compared.
struct Moment {
    Wall_Time wall;
    std::chrono::steady_clock::time_point steady;

    static Moment now() { return {std::chrono::system_clock::now(), std::chrono::steady_clock::now()}; }
};

enum class Contact {
    connecting,  // not connected yet
    connected,   // the states are those of a daemon that answers
    silent,      // connected, but the daemon does not answer
    disconnected // it is connected again as soon as possible
};

// What only the daemon knows; empty where it publishes nothing.
struct Daemon_Facts {
    std::string cluster;
    std::string version;
    std::string engine;
    std::optional<Wall_Time> started;
    std::map<int, std::string> nodes; // their names

    bool operator==(const Daemon_Facts &) const = default;
};

enum class Tone { neutral, good, bad };

// One line of the list of events.
struct Top_Entry {
    Wall_Time time;
    std::string kind;    // "node death"
    std::string who;     // "3 gamma"
    std::string detail;  // "10.1.0.3, 10.2.0.3"
    std::string ffdc_id; // empty: none
    Tone tone = Tone::neutral;
};

struct Network_Summary {
    int number = 0;
    std::string name;
    std::size_t adapters = 0;
    std::size_t up = 0;
    std::size_t down = 0;
};

struct Top_Summary {
    Counts counts;
    std::vector<Network_Summary> networks;
    std::size_t networks_up = 0; // with an adapter that is up
};

class Top_Model {
  public:
    // A daemon that is silent for longer is reported. It is asked for an answer each second.
    static constexpr std::chrono::seconds PATIENCE{3};
    // More entries are forgotten.
    static constexpr std::size_t MOST_ENTRIES = 1000;

    explicit Top_Model(std::string socket) : socket_(std::move(socket)) {}

    void connect(Picture picture, const Moment &now);
    // After a configuration event, `changed` is the new picture.
    void add(const Event_Record &event, const Picture &changed, const Moment &now);
    // The daemon has sent something.
    void note_contact(const Moment &now);
    void note_dropped(std::uint32_t sequence, const Moment &now);
    void disconnect(const std::string &reason, const Moment &now);
    void describe(Daemon_Facts facts) { facts_ = std::move(facts); }
    // This process was stopped itself, so the silence before proves nothing.
    void note_pause(const Moment &now);
    // Notes in the list of events that the daemon has stopped answering. Returns whether anything changed.
    bool check_silence(const Moment &now);

    Contact contact(const Moment &now) const;
    bool was_connected() const { return was_connected_; }
    // The time of the last contact, or of the disconnection.
    Wall_Time since() const { return since_; }
    const std::string &obstacle() const { return obstacle_; }
    const std::string &socket() const { return socket_; }
    const Picture &picture() const { return picture_; }
    const Daemon_Facts &facts() const { return facts_; }
    const std::deque<Top_Entry> &entries() const { return entries_; } // the newest first
    // "gamma"; empty if it is unknown
    std::string name_of(int node) const;

  private:
    bool is_answer_to_subscription(const Event_Record &event);
    void add_entry(Top_Entry entry);

    std::string socket_;
    Picture picture_;
    Daemon_Facts facts_;
    std::deque<Top_Entry> entries_;
    bool connected_ = false;
    bool was_connected_ = false;
    bool silence_noted_ = false;
    bool nodes_reported_ = false;
    bool adapters_reported_ = false;
    bool heartbeat_reported_ = false;
    std::string obstacle_;
    Wall_Time since_;
    std::chrono::steady_clock::time_point last_contact_;
};

Top_Summary summarize(const Picture &picture);

// The entry of an event, with the names of its members.
Top_Entry entry_of(const Event_Record &event, const Top_Model &model);

} // namespace hbctl
