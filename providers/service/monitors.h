// Descriptors that are readable while events are held for them.
#ifndef MOX_SERVICE_MONITORS_H
#define MOX_SERVICE_MONITORS_H

#include <deque>
#include <map>
#include <optional>
#include <string>

#include "providers/service/event_record.h"

namespace mox_service {

// What one reading gives: an event (result 0), or a result and errno.
struct Reading {
    int result = 0;
    int error = 0;
    Event_Record event;
};

class Monitors {
  public:
    Monitors() = default;
    Monitors(const Monitors &) = delete;
    Monitors &operator=(const Monitors &) = delete;
    ~Monitors();

    // A descriptor for its opener to wait on and to close; -1 with errno when there is none to be had.
    int open(const std::string &name);
    // For every open monitor of the name.
    void push(const std::string &name, const Reading &reading);
    // The next one held for the descriptor; nothing when there is none. Its reader asks for this category.
    std::optional<Reading> take(int fd, int category);
    // The category that the monitor of that name was last read for; nothing before it was.
    std::optional<int> category_asked(const std::string &name) const;

  private:
    struct Monitor {
        std::string name;
        int counter = -1; // a duplicate of the opener's descriptor
        std::deque<Reading> held;
    };

    std::map<int, Monitor> monitors_;             // by the opener's descriptor
    std::map<std::string, int> categories_asked_; // by the monitor's name
};

} // namespace mox_service

#endif
