// SPDX-License-Identifier: Apache-2.0
// hb/event.hpp - hb::event: one event of a session, as a variant of the types in hb::events
#ifndef HB_EVENT_HPP
#define HB_EVENT_HPP

#include <chrono>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>
#include <sys/types.h>
#include <variant>

#include "hb/address.hpp"
#include "hb/numbers.hpp"
#include "hb/ranges.hpp"
#include "hb_client.h"

namespace hb {

// An adapter of an event, at one incarnation.
struct adapter_member {
    adapter_number adapter = 0;
    Hb_Incarnation incarnation = 0; // how often the adapter has joined
    bool is_removed = false;        // it died because it was removed from the configuration
};

namespace detail {

// Where an event source keeps the event that it read last.
struct event_record {
    Hb_Group group;
    Hb_Name name;
    unsigned long sequence;
};

// The record has one cursor; each iterator sets it to its own position.
struct node_steps {
    using value_type = node_number;
    Hb_Group *group = nullptr;

    bool first(node_number &node, Hb_Cursor &position) const {
        return group != nullptr && step(hb_get_first_node, node, position);
    }
    bool next(node_number &node, Hb_Cursor &position) const {
        group->Hb_cursor = position;
        return step(hb_get_next_node, node, position);
    }

  private:
    bool step(Hb_Rc (*function)(Hb_Group *, Hb_Node_Number *), node_number &node, Hb_Cursor &position) const {
        if (function(group, &node) != Hb_Success) {
            return false;
        }
        position = group->Hb_cursor;
        return true;
    }
};

struct adapter_steps {
    using value_type = adapter_member;
    Hb_Group *group = nullptr;

    bool first(adapter_member &member, Hb_Cursor &position) const {
        return group != nullptr && step(hb_get_first_adapter, member, position);
    }
    bool next(adapter_member &member, Hb_Cursor &position) const {
        group->Hb_cursor = position;
        return step(hb_get_next_adapter, member, position);
    }

  private:
    bool step(Hb_Rc (*function)(Hb_Group *, Hb_Adapter_Identifier *), adapter_member &member,
              Hb_Cursor &position) const {
        Hb_Adapter_Identifier found;
        if (function(group, &found) != Hb_Success) {
            return false;
        }
        member = {found.Hb_adapter_number, found.Hb_incarnation, found.Hb_died_because_removed != Hb_False};
        position = group->Hb_cursor;
        return true;
    }
};

} // namespace detail

// The nodes or adapters of an event, in ascending order.
using event_nodes = range<detail::node_steps>;
using event_adapters = range<detail::adapter_steps>;

// The types of events. An event is a view of the record that its event source owns. Its ranges and texts are valid until
// the source reads again, is moved from or destroyed, and while the session is open. Copy what must live longer.
namespace events {

// What every event has.
class any {
  public:
    explicit any(detail::event_record &record) noexcept : record_(&record) {}

    // Returns the name of the subscription that the event belongs to; "Hb_Config_Group", "Hb_FFDC_Group" and
    // "<EMPTY EVENT>" belong to none.
    std::string_view subscription() const noexcept { return record_->name; }

    // Returns the daemon's number of the event. The numbers ascend by 1 in each connection; a greater step means that
    // an event was lost. It is 0 for most events in cluster-event mode.
    unsigned long sequence() const noexcept { return record_->sequence; }

    // Returns the record, for calls of the C interface.
    Hb_Group &native() const noexcept { return record_->group; }

  protected:
    std::string_view failure_text() const noexcept {
        const char *const text = native().Hb_ffdc_id;
        return {text, strnlen(text, sizeof native().Hb_ffdc_id)};
    }

  private:
    detail::event_record *record_;
};

// An event of nodes.
class of_nodes : public any {
  public:
    using any::any;
    event_nodes nodes() const { return event_nodes({&native()}); }
};

// An event of adapters.
class of_adapters : public any {
  public:
    using any::any;
    event_adapters adapters() const { return event_adapters({&native()}); }
};

// There is nothing to report. Only in cluster-event mode: no subscription covers what happened, or nothing changed.
class nothing : public any {
  public:
    using any::any;
};

class node_death : public of_nodes {
  public:
    using of_nodes::of_nodes;
    // Returns the identifier of the failure, to find it in logs; empty if there is none.
    std::string_view failure() const noexcept { return failure_text(); }
};

class node_join : public of_nodes {
  public:
    using of_nodes::of_nodes;
    // Returns the identifier of a failure that the event names; empty if there is none.
    std::string_view failure() const noexcept { return failure_text(); }
};

// All subscribed nodes that are up.
class node_group : public of_nodes {
  public:
    using of_nodes::of_nodes;
    bool is_stable() const noexcept { return native().Hb_group_status == Hb_Group_Stable; }
};

class adapter_death : public of_adapters {
  public:
    using of_adapters::of_adapters;
};

class adapter_join : public of_adapters {
  public:
    using of_adapters::of_adapters;
};

// All subscribed adapters that are up.
class adapter_group : public of_adapters {
  public:
    using of_adapters::of_adapters;
    bool is_stable() const noexcept { return native().Hb_group_status == Hb_Group_Stable; }
    // Returns the leader of the group; nothing if the group has none, as in cluster-event mode.
    std::optional<adapter_number> leader() const noexcept {
        const adapter_number number = members().Hb_group_leader;
        return number < HB_ADAPTER_SLOTS ? std::optional<adapter_number>(number) : std::nullopt;
    }
    // Returns the incarnation of the group. All bits are set if the group has none.
    Hb_Incarnation incarnation() const noexcept { return members().Hb_group_incarnation; }

  private:
    const Hb_Adapter_Membership_Grp &members() const noexcept {
        return native().Hb_membership_grp_union.Hb_adapter_membership_grp;
    }
};

// The configuration changed. The session's queries answer from the new one.
class configuration_changed : public any {
  public:
    using any::any;
};

// Names a failure of which another event reports the effect.
class failure_identifier : public any {
  public:
    using any::any;
    std::string_view failure() const noexcept { return failure_text(); }
};

// A message came from a node with another configuration instance.
class different_instance : public any {
  public:
    using any::any;
    address sender() const noexcept { return address(info().addr); }
    // Returns the configuration instance of the sender.
    Hb_Config_Instance instance() const noexcept { return info().machinesInst; }

  private:
    const diff_instance_info &info() const noexcept {
        return native().Hb_membership_grp_union.diff_instance_info;
    }
};

// The sites lost contact with each other.
class site_split : public any {
  public:
    using any::any;
    const Hb_Site_Info &local_site() const noexcept { return info().local_site; }
    const Hb_Site_Info &remote_site() const noexcept { return info().remote_site; }

  private:
    const site_split_info &info() const noexcept { return native().Hb_membership_grp_union.site_split_info; }
};

// The sites are in contact again.
class site_merge : public any {
  public:
    using any::any;
    const Hb_Site_Info &local_site() const noexcept { return info().local_site; }
    const Hb_Site_Info &remote_site() const noexcept { return info().remote_site; }
    std::uint32_t local_nodes_up() const noexcept { return info().num_local_up_nodes; }
    std::uint32_t remote_nodes_up() const noexcept { return info().num_remote_up_nodes; }

  private:
    const site_merge_info &info() const noexcept { return native().Hb_membership_grp_union.site_merge_info; }
};

// The heartbeat settings of the daemon.
class heartbeat : public any {
  public:
    explicit heartbeat(detail::event_record &record) noexcept : any(record) {
        if (hb_get_client_hb_info(&settings_) != Hb_Success) {
            settings_ = {};
        }
    }
    // Returns the time without a sign of life after which the daemon considers a program dead.
    std::chrono::microseconds threshold() const noexcept {
        return std::chrono::seconds(settings_.client_hb_thresh.tv_sec) +
               std::chrono::microseconds(settings_.client_hb_thresh.tv_usec);
    }
    bool is_enabled() const noexcept { return settings_.client_hb_is_enabled != Hb_False; }
    pid_t daemon_process() const noexcept { return settings_.client_hb_daemon_pid; }

  private:
    Hb_Client_Hb_Info settings_ = {};
};

// An event without a type of its own, for instance of a repository disk in cluster-event mode. Read it from native().
class other : public any {
  public:
    other(detail::event_record &record, int kind) noexcept : any(record), kind_(kind) {}
    // Returns the value of HB_EVENT_... that hb_get_event_message gave.
    int kind() const noexcept { return kind_; }

  private:
    int kind_;
};

} // namespace events

using event =
    std::variant<events::nothing, events::node_death, events::node_join, events::node_group,
                 events::adapter_death, events::adapter_join, events::adapter_group,
                 events::configuration_changed, events::failure_identifier, events::different_instance,
                 events::site_split, events::site_merge, events::heartbeat, events::other>;

namespace detail {

// Returns the event of nodes or of adapters, as the record says.
template <class Of_Nodes, class Of_Adapters> event event_of_members(int kind, event_record &record) noexcept {
    switch (record.group.Hb_group_type) {
    case Hb_Node_Group:
        return Of_Nodes(record);
    case Hb_Adapter_Group:
        return Of_Adapters(record);
    default:
        return events::other(record, kind);
    }
}

// Returns the event that hb_get_event_message has read into the record.
inline event event_of(int kind, event_record &record) noexcept {
    switch (kind) {
    case HB_EVENT_NONE:
        return events::nothing(record);
    case HB_EVENT_DEATH:
        return event_of_members<events::node_death, events::adapter_death>(kind, record);
    case HB_EVENT_JOIN:
        return event_of_members<events::node_join, events::adapter_join>(kind, record);
    case HB_EVENT_NEW_GROUP:
        return event_of_members<events::node_group, events::adapter_group>(kind, record);
    case HB_EVENT_CONFIG:
        return events::configuration_changed(record);
    case HB_EVENT_FFDC:
        return events::failure_identifier(record);
    case HB_EVENT_DIFF_INSTANCE:
        return events::different_instance(record);
    case HB_EVENT_SITE_SPLIT:
        return events::site_split(record);
    case HB_EVENT_SITE_MERGE:
        return events::site_merge(record);
    case HB_EVENT_HEARTBEAT:
        return events::heartbeat(record);
    default:
        return events::other(record, kind);
    }
}

} // namespace detail
} // namespace hb

#endif
