// SPDX-License-Identifier: Apache-2.0
// Checks an event record from the daemon once, and gives typed access to its fields.
#pragma once

#include <cstring>
#include <optional>
#include <span>
#include <variant>

#include "lib/wire/hb_wire.h"

// A list inside a record. Its items need not be aligned.
template <typename Item> class Hb_Wire_List {
  public:
    Hb_Wire_List(const char *bytes, int size) : bytes_(bytes), size_(size) {}
    int size() const { return size_; }
    Item operator[](int index) const {
        Item item;
        std::memcpy(&item, bytes_ + sizeof item * static_cast<std::size_t>(index), sizeof item);
        return item;
    }

  private:
    const char *bytes_;
    int size_;
};

struct Hb_Adapter_Event_View {
    int32_t kind;
    Hb_Name subscription_name;
    Hb_Adapter_Number leader;
    Hb_Incarnation group_incarnation;
    Hb_Group_Status group_status;
    Hb_Wire_List<Hb_Adapter_Event_Pair> adapters;
};

struct Hb_Node_Event_View {
    int32_t kind;
    Hb_Name subscription_name;
    Hb_Group_Status group_status;
    Hb_FFDC_Id ffdc_id;
    Hb_Wire_List<Hb_Boolean> nodes; // by node number
};

struct Hb_Heartbeat_View {
    Hb_Name subscription_name;
    Hb_Heartbeat_Body heartbeat;
};

struct Hb_Failure_Id_View {
    Hb_FFDC_Id ffdc_id;
};

struct Hb_Other_Instance_View {
    Hb_Name subscription_name;
    struct diff_instance_info instance;
};

using Hb_Event_View = std::variant<Hb_Adapter_Event_View, Hb_Node_Event_View, Hb_Heartbeat_View,
                                   Hb_Failure_Id_View, Hb_Other_Instance_View>;

// Returns nothing if the record has none of these kinds or is too short for its kind. The view's lists lie in
// the record, which must outlive the view. For configuration updates use snapshot_view.h.
std::optional<Hb_Event_View> hb_view_event(std::span<const char> record, int max_nodes);

// Return the view of a packet without checking it again: hb_view_event has already accepted it.
Hb_Adapter_Event_View hb_trusted_adapter_event(const client_packet *packet);
Hb_Node_Event_View hb_trusted_node_event(const client_packet *packet, int max_nodes);
Hb_Heartbeat_View hb_trusted_heartbeat(const client_packet *packet);
