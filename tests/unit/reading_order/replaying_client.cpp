// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/reading_order/replaying_client.h"

#include <ostream>
#include <unistd.h>

#include <gtest/gtest.h>

#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/mox/handlers/MOX_ORBFSNewGroupEventHandler.h"
#include "lib/mox/handlers/handler_creation.h"
#include "lib/mox/handlers/process_handlers.h"

namespace hb_test {
namespace {

constexpr int DEATH = 1;
constexpr int JOIN = 2;
constexpr unsigned PER_NODE = 48;
constexpr char NODE_GROUP = 1;
constexpr char ADAPTER_GROUP = 2;

ORBFSHandler *handler_of(Category category) {
    switch (category) {
    case Category::node:
        return node_liveness_handler_p;
    case Category::adapter:
        return adapter_event_handler_p;
    case Category::node_list:
        return node_list_handler_p;
    case Category::peer:
        return peer_GS_liveness_handler_p;
    case Category::address:
        return ip_change_handler_p;
    case Category::reconfiguration:
        return cluster_reconfig_handler_p;
    case Category::site:
        break;
    }
    return site_config_handler_p;
}

std::pair<int, std::string> interface_of(const Hb_Adapter_Entry &adapter) {
    return {static_cast<int>(adapter.Hb_adapter_num / PER_NODE), adapter.Hb_adapter_type};
}

} // namespace

const char *name_of(Category category) {
    constexpr const char *names[] = {"node",    "adapter",         "node_list", "peer",
                                     "address", "reconfiguration", "site"};
    return names[static_cast<int>(category)];
}

void PrintTo(const Up &up, std::ostream *out) {
    *out << "nodes";
    for (const int node : up.nodes) {
        *out << " " << node;
    }
    *out << ", interfaces";
    for (const auto &[node, name] : up.interfaces) {
        *out << " " << node << "/" << name;
    }
}

Replaying_Client::Replaying_Client() {
    IsMOX = true;
    EXPECT_EQ(Hb_Success, MOX_create_global_event_handlers());
    EXPECT_EQ(Hb_Success, hb_init());
    hb_set_name(nodeEventSubscriptionName, "n");
    hb_set_name(networkEventSubscriptionName, "a");
    received_ = table();
}

Replaying_Client::~Replaying_Client() {
    hb_terminate();
}

Up Replaying_Client::table() {
    Up up;
    for (int i = 0; i < global_config_tbl.Hb_num_nodes; ++i) {
        if (global_config_tbl.node_list[i].state == Hb_Entity_Up) {
            up.nodes.insert(global_config_tbl.node_list[i].node_num);
        }
    }
    for (int i = 0; i < global_config_tbl.Hb_num_adapters; ++i) {
        if (global_config_tbl.Hb_global_adapter_list[i].Hb_state == Hb_Entity_Up) {
            up.interfaces.insert(interface_of(global_config_tbl.Hb_global_adapter_list[i]));
        }
    }
    return up;
}

std::string Replaying_Client::story(int node) const {
    const auto found = stories_.find(node);
    return found != stories_.end() ? found->second : "";
}

// An event without news counts as one. Without an event the name does not change.
bool Replaying_Client::call(int descriptor) {
    int ready[] = {descriptor, -1};
    int events = 0;
    Hb_Name name = "untouched";
    unsigned long sequence = 0;
    EXPECT_EQ(Hb_Success, hb_get_event_message(ready, nullptr, &events, name, group_.get(), &sequence));
    if (events == DEATH || events == JOIN) {
        replay(events);
    }
    return events != 0 || std::string(name) != "untouched";
}

void Replaying_Client::ask_for_group(char request) {
    EXPECT_EQ(1, write(new_group_event_handler_p->getWriteFd(), &request, 1));
    EXPECT_TRUE(call(new_group_event_handler_p->getFileDescriptor()));
}

std::set<int> Replaying_Client::new_node_group() {
    ask_for_group(NODE_GROUP);
    std::set<int> nodes;
    Hb_Node_Number node = 0;
    for (Hb_Rc rc = hb_get_first_node(group_.get(), &node); rc == Hb_Success;
         rc = hb_get_next_node(group_.get(), &node)) {
        nodes.insert(node);
    }
    return nodes;
}

std::set<int> Replaying_Client::new_adapter_group() {
    ask_for_group(ADAPTER_GROUP);
    std::set<int> adapters;
    Hb_Adapter_Identifier adapter{};
    for (Hb_Rc rc = hb_get_first_adapter(group_.get(), &adapter); rc == Hb_Success;
         rc = hb_get_next_adapter(group_.get(), &adapter)) {
        adapters.insert(static_cast<int>(adapter.Hb_adapter_number));
    }
    return adapters;
}

bool Replaying_Client::read(Category category) {
    const bool any = call(handler_of(category)->getFileDescriptor());
    receive_what_is_queued();
    return any;
}

void Replaying_Client::receive_what_is_queued() {
    while (MOX_event_queue_is_empty() == 0) {
        call(event_pipe_handler_p->getFileDescriptor());
    }
}

void Replaying_Client::read_all(Category category) {
    while (read(category)) {
    }
}

void Replaying_Client::drain() {
    for (bool any = true; any;) {
        any = false;
        for (const Category category : {Category::node, Category::adapter, Category::node_list, Category::peer,
                                        Category::address, Category::reconfiguration, Category::site}) {
            any = read(category) || any;
        }
    }
}

// An event's adapter numbers are those of the current table.
void Replaying_Client::replay(int events) {
    if (group_->Hb_group_type == Hb_Node_Group) {
        Hb_Node_Number node = 0;
        for (Hb_Rc rc = hb_get_first_node(group_.get(), &node); rc == Hb_Success;
             rc = hb_get_next_node(group_.get(), &node)) {
            stories_[node] += events == DEATH ? '-' : '+';
            replay_one(received_.nodes, int{node}, events, "node " + std::to_string(node));
        }
        return;
    }
    const auto &members = group_->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_adapter_list;
    for (int i = 0; i < global_config_tbl.Hb_num_adapters; ++i) {
        const Hb_Adapter_Entry &adapter = global_config_tbl.Hb_global_adapter_list[i];
        if (members[adapter.Hb_adapter_num] == 0) {
            const auto interface = interface_of(adapter);
            replay_one(received_.interfaces, interface, events,
                       "interface " + std::to_string(interface.first) + "/" + interface.second);
        }
    }
}

template <typename Members, typename Member>
void Replaying_Client::replay_one(Members &up, const Member &member, int events, const std::string &text) {
    const bool fits = events == DEATH ? up.erase(member) == 1 : up.insert(member).second;
    if (!fits) {
        contradictions_ += text + (events == DEATH ? " died and was not up; " : " joined and was up; ");
    }
}

} // namespace hb_test
