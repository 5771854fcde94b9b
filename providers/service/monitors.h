// Descriptors that are readable while events are held for them.
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

// What an event reports of a node and its interfaces, by their names, or of one interface alone.
struct Liveness {
    std::optional<qz_mox_node_status_t> node;
    std::map<std::optional<std::string>, qz_mox_intf_status_t> interfaces;
};

// What one reading gives: an event (result 0), or a result and errno.
struct Reading {
    int result = 0;
    int error = 0;
    Event_Record event;
    std::shared_ptr<const Liveness> after; // just after a liveness event; null: the event stands for itself
    uint64_t id = 0;                       // the same in every monitor; its pushing numbers it
};

// A monitor is open until its opener closes the descriptor; from then on nothing is held for it.
class Monitors {
  public:
    Monitors() = default;
    Monitors(const Monitors &) = delete;
    Monitors &operator=(const Monitors &) = delete;
    ~Monitors();

    // A descriptor for its opener to wait on and to close; -1 with errno when there is none to be had. It is also
    // readable while one of the sources is, which stay open as long as this object lives.
    int open(const std::string &name, const std::vector<int> &sources = {});
    // For every open monitor of the name. Numbers the event, too, if it has no number. Returns the reading's id, which
    // is never 0.
    uint64_t push(const std::string &name, Reading reading);
    // The next one held for the descriptor; nothing when there is none. Its reader asks for this category.
    std::optional<Reading> take(int fd, int category);
    // From every open monitor of the name, the readings of which this holds.
    void take_back(const std::string &name, const std::function<bool(const Reading &)> &which);
    // What the one of the name that is behind most holds, in order; valid until the next call.
    const std::deque<Reading> &held(const std::string &name);
    // Whether an open monitor holds the reading of that id.
    bool holds(uint64_t id);
    bool any_open();
    // The category that the monitor of that name was last read for; nothing before it was.
    std::optional<int> category_asked(const std::string &name) const;

  private:
    struct Monitor {
        std::string name;
        int counter = -1; // one for each that is held
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
