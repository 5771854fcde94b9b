// Keeps what the queries report of nodes and interfaces with unread liveness events: their last reported state.
//
// The library rebuilds its table from the queries at an event of any category. For a node in both the old and
// new table it compares no states. If the node shows a new state too early, its own event then reports nothing.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "providers/service/monitors.h"
#include "providers/service/picture.h"
#include "providers/service/picture_events.h"

namespace mox_service {

using Interface_Key = std::pair<uint32_t, std::optional<std::string>>;

// - The set of nodes, interfaces and addresses is always current. Comparing tables finds each such difference,
//   whichever event is handled first.
// - A node with unread liveness events, and its interfaces, show the status after the last event read. If no
//   event is read yet, they show the status before the first. The same rule applies to an interface with events
//   of its own.
// - A node's event covers its interfaces: their unread events are withdrawn. Their later changes have no events
//   of their own until that event is read.
// - A node that joins the configuration shows the status that it joined with. Its liveness events wait until
//   its joining event is read. Otherwise a death could be read before the join.
// - A node that leaves the configuration loses its liveness events, because its leaving reports its death. If
//   it returns before its leaving is read, it continues with its last reported state. Its new status then has
//   an event.
class Reported_Liveness {
  public:
    explicit Reported_Liveness(Monitors &monitors) : monitors_(monitors) {}

    // Applies one step: the picture changed from `before` to `after`, and `events` report it.
    void change(const Picture &before, const Picture &after, const std::vector<Monitor_Event> &events);
    // Returns the next reading of a monitor, or nothing if no reading is pending.
    std::optional<Reading> read(int fd, int category);
    // Returns what the queries report of a picture.
    Picture shown(const Picture &now);
    // Returns the same for the nodes, interfaces and addresses of a former picture with the current statuses.
    Picture shown(const Picture &configuration, const Picture &now);

  private:
    // A node with an unread joining event.
    struct Arrival {
        uint64_t event = 0;
        std::vector<Reading> waiting; // its liveness events since it joined
    };
    // The ids of the events of one step that report a new configuration.
    struct Configuration_Events {
        std::map<uint32_t, uint64_t> of_nodes; // of the node list events
        uint64_t reconfiguration = 0;          // 0: no such event in the step
        uint64_t about(uint32_t node) const;
    };

    void depart(const Picture &before, const Picture &after);
    Configuration_Events push_configuration(const std::vector<Monitor_Event> &events);
    void arrive(const Picture &before, const Picture &after, const Configuration_Events &events);
    void hold_other_statuses(const Picture &before, const Picture &after);
    void hold_liveness(const Monitor_Event &monitor_event, const Picture &before, const Picture &after);
    void hold_node(const Monitor_Event &monitor_event, const Picture &before, const Picture &after);
    void hold_node_news(const Event_Record &event, const Node &node, const Picture &after);
    void hold_interface(const Monitor_Event &monitor_event, const Picture &before, const Picture &after);

    void remember(uint32_t node, const Picture &picture);
    void withdraw_interface_events(uint32_t node);
    const Reading *last_unread_of(uint32_t node);
    const Reading *last_unread_of(uint32_t node, const std::string &interface);
    template <typename Which> const Reading *last_held(const std::string &monitor, Which which);
    bool is_arriving(uint32_t node);
    std::set<uint32_t> nodes_unread();
    std::set<Interface_Key> interfaces_unread();
    void settle();

    Monitors &monitors_;
    std::map<uint32_t, Liveness> reported_;
    std::map<uint32_t, Arrival> arrivals_;
    std::map<uint32_t, uint64_t> departures_; // id of the event that reports the leaving
};

} // namespace mox_service
