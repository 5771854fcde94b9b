// SPDX-License-Identifier: Apache-2.0
// Keeps the queries consistent with the events that the library has read. While a node or interface has unread
// liveness events, the queries return its last reported state, not its current one.
//
// Reason: the library rebuilds its table from the queries at an event of any category. It does not compare the
// states of a node that is in both the old and the new table. If a query showed the new state before the node's
// own event is read, the library would find nothing left to report at that event.
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

// - Queries always return the current set of nodes, interfaces and addresses. The library finds each difference
//   in them by comparing tables, whichever event it handles first.
// - A node with unread liveness events, and its interfaces, show the status after the last event read. If no
//   event is read yet, they show the status before the first. The same rule applies to an interface with events
//   of its own.
// - A node's event covers its interfaces: their unread events are withdrawn. Until the node's event is read,
//   later changes of its interfaces produce no events.
// - A node that joins the configuration shows the status that it joined with. Its liveness events wait until
//   its joining event is read. Otherwise a death could be read before the join.
// - When a node leaves the configuration, its unread liveness events are withdrawn, because the leaving event
//   reports its death. If the node returns before that event is read, queries return its last reported state,
//   and a liveness event reports its new status.
class Reported_Liveness {
  public:
    explicit Reported_Liveness(Monitors &monitors) : monitors_(monitors) {}

    // Applies one step: the picture changed from `before` to `after`, and `events` report it.
    void change(const Picture &before, const Picture &after, const std::vector<Monitor_Event> &events);
    // Returns the next reading of a monitor, or nothing if no reading is pending.
    std::optional<Reading> read(int fd, int category);
    // Returns what the queries report of a picture.
    Picture shown(const Picture &now);
    // Does the same with the nodes, interfaces and addresses of `configuration`, an earlier picture, and the
    // statuses of `now`.
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
