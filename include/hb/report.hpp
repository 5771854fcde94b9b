// SPDX-License-Identifier: Apache-2.0
// hb/report.hpp - hb::report: what an hb::watcher reports, as a variant of the types in hb::reports
#ifndef HB_REPORT_HPP
#define HB_REPORT_HPP

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>

#include "hb/error.hpp"
#include "hb/numbers.hpp"
#include "hb/text.hpp"
#include "hb/time.hpp"
#include "hb_watch.h"

namespace hb {

// The types of reports. They are plain values: copy and store them freely. `time` is when the watcher learned it.
namespace reports {

// Contact: all that is up has been reported, and the watcher's answers are true.
struct current {
    time_point time;
};

// No contact: the watcher's answers are the last known ones.
//
//   last_contact  the last sign of life; nothing if there was none
//   reason        2 the daemon does not answer, 10 it sent an invalid record, 13 no socket could be created, 15 no daemon
//                 listens or this user may not connect, 16 the daemon closed the connection, 17 no memory, 22 the daemon
//                 does not read. In cluster-event mode the numbers of hb_get_event_message
struct unreachable {
    time_point time;
    std::optional<time_point> last_contact;
    error reason;
};

// What the reports of deaths and joins have in common.
//
//   is_caught_up  it was found by comparison, because its event was missed: it happened between `since` and `time`
//   since         if is_caught_up, until when the earlier state is known. Otherwise equal to `time`
//   failure       the failure's identifier, to find it in logs; empty if the event has none
struct change {
    time_point time;
    time_point since;
    bool is_caught_up;
    failure_id failure;
};

// A node is up.
struct node_joined : change {
    node_number node;
    bool is_initial; // it was up when the watcher found it first
};

// A node is not up any more.
struct node_died : change {
    node_number node;
    bool is_removed; // from the configuration; a node's own event does not say so
};

// An adapter is up.
struct adapter_joined : change {
    adapter_number adapter;
    node_number node;
    network_number network;
    bool is_initial; // it was up when the watcher found it first
};

// An adapter is not up any more.
struct adapter_died : change {
    adapter_number adapter;
    node_number node;
    network_number network;
    bool is_removed; // from the configuration
};

// The configuration changed: ask the watcher again.
struct configuration_changed {
    time_point time;
};

} // namespace reports

using report = std::variant<reports::current, reports::unreachable, reports::node_joined, reports::node_died,
                            reports::adapter_joined, reports::adapter_died, reports::configuration_changed>;

namespace detail {

inline time_point point_of(std::int64_t nanoseconds) noexcept {
    return time_point(std::chrono::nanoseconds(nanoseconds));
}

inline reports::change change_of(const Hb_Watch_Report &from) noexcept {
    return {point_of(from.time), point_of(from.since), (from.flags & HB_WATCH_CAUGHT_UP) != 0,
            failure_id(std::string_view(from.failure, sizeof from.failure))};
}

// Returns nothing for a kind that this header does not have.
inline std::optional<report> report_of(const Hb_Watch_Report &from) noexcept {
    const auto node = static_cast<node_number>(from.node);
    const auto network = static_cast<network_number>(from.network);
    const bool is_initial = (from.flags & HB_WATCH_INITIAL) != 0;
    const bool is_removed = (from.flags & HB_WATCH_REMOVED) != 0;
    switch (from.kind) {
    case HB_WATCH_CURRENT:
        return reports::current{point_of(from.time)};
    case HB_WATCH_UNREACHABLE:
        return reports::unreachable{point_of(from.time),
                                    from.since != 0 ? std::optional<time_point>(point_of(from.since))
                                                    : std::nullopt,
                                    error(from.error)};
    case HB_WATCH_NODE_JOINED:
        return reports::node_joined{change_of(from), node, is_initial};
    case HB_WATCH_NODE_DIED:
        return reports::node_died{change_of(from), node, is_removed};
    case HB_WATCH_ADAPTER_JOINED:
        return reports::adapter_joined{change_of(from), from.adapter, node, network, is_initial};
    case HB_WATCH_ADAPTER_DIED:
        return reports::adapter_died{change_of(from), from.adapter, node, network, is_removed};
    case HB_WATCH_CONFIGURATION:
        return reports::configuration_changed{point_of(from.time)};
    default:
        return std::nullopt;
    }
}

} // namespace detail
} // namespace hb

#endif
