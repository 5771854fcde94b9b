// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/replay_storm/client.h"

#include <cstring>
#include <optional>
#include <poll.h>

namespace hb_test::replay_storm {
namespace {

constexpr int NO_EVENT_YET = -1;

void demand(bool holds, const std::string &what) {
    if (!holds) {
        throw Violation("queries contradict each other", what);
    }
}

std::optional<Adapter_Id> adapter_of(Hb_Adapter_Number number) {
    Hb_Node_Number node = -1;
    Hb_Adapter_Type type = {};
    Hb_IP_address6 address{};
    const bool known = hb_get_node_number_by_adapter_number(number, &node) == Hb_Success;
    const bool has_type = hb_get_adapter_type_by_number(number, type) == Hb_Success;
    const bool has_address = hb_get_adapter_address_by_number(number, &address) == Hb_Success;
    demand(known == has_type && known == has_address, "of adapter number " + std::to_string(number));
    if (!known) {
        return std::nullopt;
    }
    return Adapter_Id{node, type, std::string(reinterpret_cast<const char *>(&address), sizeof address)};
}

Hb_IP_address6 address_of(const Adapter_Id &adapter) {
    Hb_IP_address6 address{};
    std::memcpy(&address, adapter.address.data(), sizeof address);
    return address;
}

} // namespace

std::string text_of(const Taken &taken) {
    std::string text = "result " + std::to_string(taken.result) + " events " +
                       std::to_string(taken.event.events) + " \"" + taken.name + "\"";
    if (taken.result != Hb_Success) {
        text += " error " + std::to_string(taken.error);
    }
    for (const int node : taken.event.nodes) {
        text += " " + thing(node);
    }
    for (const auto &[number, adapter] : taken.event.adapters) {
        text += " " + std::to_string(number) + " = " + (adapter ? thing(*adapter) : "none");
    }
    return text;
}

void Client::subscribe() {
    Hb_Name nodes = "n";
    Hb_Name adapters = "a";
    const bool made = hb_empty_subscription_group(wanted_.get()) == Hb_Success &&
                      hb_add_all_nodes_to_subscription_group(wanted_.get()) == Hb_Success &&
                      hb_subscribe(nodes, wanted_.get(), 7) == Hb_Success &&
                      hb_empty_subscription_group(wanted_.get()) == Hb_Success &&
                      hb_add_all_adapters_to_subscription_group(wanted_.get()) == Hb_Success &&
                      hb_subscribe(adapters, wanted_.get(), 7) == Hb_Success;
    if (!made) {
        throw Violation("call failed", "subscription, error " + std::to_string(hb_get_errno()));
    }
}

std::vector<int> Client::ready() const {
    int *descriptors = nullptr;
    int count = 0;
    if (hb_get_file_descriptor_array(&descriptors, &count) != Hb_Success) {
        throw Violation("call failed", "descriptors, error " + std::to_string(hb_get_errno()));
    }
    std::vector<pollfd> waiting;
    for (int i = 0; i < count; ++i) {
        waiting.push_back({descriptors[i], POLLIN, 0});
    }
    hb_free_file_descriptor_array(descriptors);
    poll(waiting.data(), waiting.size(), 0);
    std::vector<int> ready;
    for (const pollfd &each : waiting) {
        if (each.revents != 0) {
            ready.push_back(each.fd);
        }
    }
    return ready;
}

Taken Client::read(int descriptor) {
    int descriptors[] = {descriptor, -1};
    timeval no_time{};
    Hb_Name name = "untouched";
    unsigned long sequence = 0;
    Taken taken;
    taken.event.events = NO_EVENT_YET;
    taken.result =
        hb_get_event_message(descriptors, &no_time, &taken.event.events, name, group_.get(), &sequence);
    taken.error = hb_get_errno();
    taken.name = name;
    const int events = taken.event.events;
    if (taken.result == Hb_Success && (events == 1 || events == 2 || events == 4)) {
        taken.event.of_nodes = group_->Hb_group_type == Hb_Node_Group;
        taken.event.of_nodes ? take_nodes(taken.event) : take_adapters(taken.event);
    }
    return taken;
}

void Client::take_nodes(Delivered &event) {
    Hb_Node_Number node = 0;
    for (Hb_Rc rc = hb_get_first_node(group_.get(), &node); rc == Hb_Success;
         rc = hb_get_next_node(group_.get(), &node)) {
        event.nodes.push_back(node);
    }
    demand(group_->Hb_membership_grp_union.Hb_node_membership_grp.Hb_num_nodes ==
               static_cast<int>(event.nodes.size()),
           "the count of a group of nodes");
}

void Client::take_adapters(Delivered &event) {
    Hb_Adapter_Identifier adapter{};
    for (Hb_Rc rc = hb_get_first_adapter(group_.get(), &adapter); rc == Hb_Success;
         rc = hb_get_next_adapter(group_.get(), &adapter)) {
        event.adapters.emplace_back(adapter.Hb_adapter_number, adapter_of(adapter.Hb_adapter_number));
    }
}

Configuration Client::configuration() const {
    Configuration now;
    Hb_Node_Number node = -1;
    demand(hb_get_my_node_number(&node) == Hb_Success, "the local node");
    now.local_node = node;
    Hb_Cursor cursor = 0;
    for (Hb_Rc rc = hb_get_first_configured_node_number(&node, &cursor); rc == Hb_Success;
         rc = hb_get_next_configured_node_number(&node, &cursor)) {
        now.nodes.insert(node);
    }
    Hb_Adapter_Number number = 0;
    std::map<std::string, Hb_Adapter_Number> first_with_address;
    for (Hb_Rc rc = hb_get_first_configured_adapter_number(&number, &cursor); rc == Hb_Success;
         rc = hb_get_next_configured_adapter_number(&number, &cursor)) {
        const std::optional<Adapter_Id> adapter = adapter_of(number);
        demand(adapter.has_value(), "adapter number " + std::to_string(number) + " is configured, and is not");
        demand(now.adapters.emplace(number, *adapter).second,
               "adapter number " + std::to_string(number) + " is there twice");
        first_with_address.emplace(adapter->address, number);
    }
    for (const auto &[expected, adapter] : now.adapters) {
        demand(hb_get_adapter_number_by_address(address_of(adapter), &number) == Hb_Success &&
                   number == first_with_address[adapter.address],
               "the address of " + thing(adapter));
    }
    int count = -1;
    demand(hb_get_number_of_configured_adapters(&count) == Hb_Success &&
               count == static_cast<int>(now.adapters.size()),
           "the number of adapters");
    demand(hb_get_number_of_configured_nodes(&count) == Hb_Success &&
               count == static_cast<int>(now.nodes.size()),
           "the number of nodes");
    return now;
}

} // namespace hb_test::replay_storm
