// SPDX-License-Identifier: Apache-2.0
// Monitors: descriptors that are readable while events are held for them.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "providers/service/event_record.h"

namespace mox_service {

// The states that an event reports: of a node and its interfaces by name, or of one interface.
struct Liveness {
    std::optional<qz_mox_node_status_t> node;
    std::map<std::optional<std::string>, qz_mox_intf_status_t> interfaces;
};

// The outcome of one reading: an event (result 0), or a result and errno.
struct Reading {
    int result = 0;
    int error = 0;
    Event_Record event;
    std::shared_ptr<const Liveness> after; // state after a liveness event; null for other events
    uint64_t id = 0;                       // same in every monitor; push() assigns it
};

// The open monitors. A monitor is open until its opener closes the descriptor; from then on it holds nothing.
class Monitors {
  public:
    Monitors() = default;
    Monitors(const Monitors &) = delete;
    Monitors &operator=(const Monitors &) = delete;
    ~Monitors();

    // Returns a descriptor for the opener to wait on and close, or -1 with errno set. It is also readable while
    // any of the sources is. The sources must stay open during the lifetime of this object.
    int open(const std::string &name, const std::vector<int> &sources = {});
    // Adds the reading to every open monitor of that name. An event without a sequence number gets the
    // reading's id as its number. Returns that id, which is never 0.
    uint64_t push(const std::string &name, Reading reading);
    // Removes and returns the next reading of the descriptor, or nothing if no reading is pending. `category`
    // is the category that the reader requests.
    std::optional<Reading> take(int fd, int category);
    // Removes the readings for which `which` returns true from every open monitor of that name.
    void withdraw(const std::string &name, const std::function<bool(const Reading &)> &which);
    // Several monitors of one name can be open. Returns the readings, in order, of the one that holds most. The
    // result is valid until the next call.
    const std::deque<Reading> &held(const std::string &name);
    // Returns true if an open monitor holds the reading with that id.
    bool holds(uint64_t id);
    bool any_open();
    // Returns the category that the last take() from a monitor of that name requested; nothing before the first.
    std::optional<int> category_asked(const std::string &name) const;

  private:
    struct Monitor {
        std::string name;
        int counter = -1; // an event counter with one count for each held reading
        std::vector<int> sources;
        std::deque<Reading> held;
    };

    void forget_closed();
    static void end(int fd, const Monitor &monitor);

    std::map<int, Monitor> monitors_;             // by the opener's descriptor
    std::map<std::string, int> categories_asked_; // by the monitor's name
    uint64_t pushed_ = 0;
};

} // namespace mox_service
