// SPDX-License-Identifier: Apache-2.0
#include "exporter/past_event.h"

#include "common/heartbeat_words.h"
#include "common/ip_address.h"
#include "common/printable.h"

namespace exporter {
namespace {

constexpr std::size_t NAMES_SHOWN = 8;
// All that is up after a connection: the grid shows it.
constexpr std::size_t NAMES_SHOWN_OF_ALL = 3;

std::string text_of_node(int node, const Snapshot &snapshot) {
    const std::string name = node_name(snapshot, node);
    return name.empty() ? std::to_string(node) : name;
}

std::string text_of_adapter(std::uint32_t number, const Snapshot &snapshot, bool with_address) {
    const Adapter *adapter = find_adapter(*snapshot.cluster, number);
    if (adapter == nullptr) {
        return std::to_string(number);
    }
    const std::string name = adapter_name(snapshot, *adapter);
    return (name.empty() ? std::to_string(number) : name) + (with_address ? " (" + adapter->address + ")" : "");
}

std::string nodes_of(Hb_Group &group, const Snapshot &snapshot, std::size_t shown) {
    std::vector<std::string> names;
    std::size_t count = 0;
    Hb_Node_Number node = -1;
    for (Hb_Rc rc = hb_get_first_node(&group, &node); rc == Hb_Success; rc = hb_get_next_node(&group, &node)) {
        if (++count <= shown) {
            names.push_back(text_of_node(node, snapshot));
        }
    }
    return members_text("node", "nodes", names, count);
}

std::string adapters_of(Hb_Group &group, const Snapshot &snapshot, std::size_t shown) {
    std::vector<std::string> names;
    std::size_t count = 0;
    Hb_Adapter_Identifier adapter{};
    for (Hb_Rc rc = hb_get_first_adapter(&group, &adapter); rc == Hb_Success;
         rc = hb_get_next_adapter(&group, &adapter)) {
        if (++count <= shown) {
            names.push_back(text_of_adapter(adapter.Hb_adapter_number, snapshot, shown == NAMES_SHOWN));
        }
    }
    return members_text("adapter", "adapters", names, count);
}

std::string members_of(Hb_Group &group, const Snapshot &snapshot, std::size_t shown) {
    switch (group.Hb_group_type) {
    case Hb_Node_Group:
        return nodes_of(group, snapshot, shown);
    case Hb_Adapter_Group:
        return adapters_of(group, snapshot, shown);
    default:
        return "";
    }
}

std::string sender_of(Hb_Group &group) {
    diff_instance_info info{};
    return hb_get_different_instance_sender(&group, &info) == Hb_Success
               ? "a message of another cluster from " + common::address_text(info.addr)
               : "";
}

std::string heartbeat_text() {
    Hb_Client_Hb_Info info{};
    return hb_get_client_hb_info(&info) == Hb_Success
               ? common::heartbeat_words(info.client_hb_is_enabled != Hb_False, info.client_hb_thresh.tv_sec,
                                         info.client_hb_thresh.tv_usec)
               : "";
}

std::string what_of(Event_Kind kind, Hb_Group &group, const Snapshot &snapshot) {
    switch (kind) {
    case Event_Kind::death:
    case Event_Kind::join:
        return members_of(group, snapshot, NAMES_SHOWN);
    case Event_Kind::new_group:
        return members_of(group, snapshot, NAMES_SHOWN_OF_ALL);
    case Event_Kind::ffdc:
        return "a failure was reported";
    case Event_Kind::configuration:
        return "now " + std::to_string(snapshot.cluster->nodes.size()) + " nodes, " +
               std::to_string(snapshot.cluster->adapters.size()) + " adapters";
    case Event_Kind::different_instance:
        return sender_of(group);
    case Event_Kind::heartbeat:
        return heartbeat_text();
    default:
        return "";
    }
}

} // namespace

std::string members_text(const std::string &one, const std::string &several,
                         const std::vector<std::string> &names, std::size_t count) {
    if (count == 0) {
        return "no " + one;
    }
    std::string text = (count == 1 ? one : several) + " ";
    for (std::size_t at = 0; at < names.size(); ++at) {
        const bool is_last = at + 1 == names.size() && names.size() == count;
        text += at == 0 ? "" : is_last ? " and " : ", ";
        text += names[at];
    }
    if (count > names.size()) {
        text += " and " + std::to_string(count - names.size()) + " more";
    }
    return text;
}

Past_Event describe_event(Event_Kind kind, Hb_Group &group, const Snapshot &snapshot) {
    Past_Event event;
    event.time = std::chrono::system_clock::now();
    event.event = event_word(kind);
    event.what = what_of(kind, group, snapshot);
    Hb_FFDC_Id id{};
    const bool can_carry = kind == Event_Kind::death || kind == Event_Kind::join || kind == Event_Kind::ffdc;
    if (can_carry && hb_get_FFDC_id(&group, &id) == Hb_Success) {
        id[HB_FFDC_ID_SIZE - 1] = '\0';
        event.failure = terminal::printable(id);
    }
    return event;
}

} // namespace exporter
