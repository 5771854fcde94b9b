// What the queries report while liveness events are unread: nodes and interfaces as they were last reported.
//
// The library rebuilds its table from the queries when it handles an event of any category, and compares no states of
// a node that both tables have. A node that shows a new state before its own event is read loses that event for good.
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

//  - Which nodes and interfaces there are, and with which addresses, is shown as it is now: comparing tables finds
//    every such difference, whichever event is handled first.
//  - The status of a node with unread liveness events, and the statuses of its interfaces, are those after its last
//    event that was read, or before the first that was not. The same holds for an interface with events of its own.
//  - A node's event stands for its interfaces: their unread events are withdrawn, and what happens to them before that
//    event is read has no event of its own.
//  - A node that joins the configuration shows the status it joined with, and its liveness events wait, until the event
//    that reports its joining is read. A death would otherwise be read before the join that it ends.
//  - A node that leaves the configuration has its liveness events withdrawn: its leaving is its death. If it is back
//    before its leaving is read, it continues as it was last reported, and its new status has an event.
class Reported_Liveness {
  public:
    explicit Reported_Liveness(Monitors &monitors) : monitors_(monitors) {}

    // What is known became another picture in one step, and these events report it.
    void change(const Picture &before, const Picture &after, const std::vector<Told> &events);
    // The next reading of a monitor; nothing when it holds none.
    std::optional<Reading> read(int fd, int category);
    // What the queries report of a picture.
    Picture shown(const Picture &now);
    // The same with the nodes, interfaces and addresses of a former picture, and the statuses of now.
    Picture shown(const Picture &configuration, const Picture &now);

  private:
    // A node of which the event that reports its joining is unread.
    struct Arrival {
        uint64_t event = 0;
        std::vector<Reading> waiting; // its liveness events since
    };
    // The pushed events of one step that report a new configuration.
    struct Configuration_Events {
        std::map<uint32_t, uint64_t> of_nodes; // of the node list
        uint64_t reconfiguration = 0;          // 0: none
        uint64_t about(uint32_t node) const;
    };

    void depart(const Picture &before, const Picture &after);
    Configuration_Events push_configuration(const std::vector<Told> &events);
    void arrive(const Picture &before, const Picture &after, const Configuration_Events &events);
    void hold_other_statuses(const Picture &before, const Picture &after);
    void hold_liveness(const Told &told, const Picture &before, const Picture &after);
    void hold_node(const Told &told, const Picture &before, const Picture &after);
    void hold_node_news(const Event_Record &event, const Node &node, const Picture &after);
    void hold_interface(const Told &told, const Picture &before, const Picture &after);

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
    std::map<uint32_t, uint64_t> departures_; // the event that reports the leaving
};

} // namespace mox_service
