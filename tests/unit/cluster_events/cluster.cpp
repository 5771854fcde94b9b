// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/cluster_events/cluster.h"

#include <cstring>
#include <ostream>
#include <poll.h>

#include <gtest/gtest.h>

#include "lib/base/error_number.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/mox/handlers/handler_creation.h"
#include "tests/support/deadline.h"

namespace hb_test {

void fill_small_cluster(mox_sim::Simulated_Service &service) {
    service.set_cluster("small", 1);
    for (uint32_t number = 1; number <= 3; ++number) {
        mox_sim::Node node;
        node.number = number;
        node.name = "node" + std::to_string(number);
        service.set(node);
        for (int network = 1; network <= 2; ++network) {
            mox_sim::Interface interface;
            interface.node = number;
            interface.name = "eth" + std::to_string(network - 1);
            interface.address =
                mox_sim::address_of("10." + std::to_string(network) + ".0." + std::to_string(number));
            service.set(interface);
        }
    }
}

void PrintTo(const Taken &taken, std::ostream *out) {
    *out << "result " << taken.result << " error " << taken.error << " events " << taken.events << " name \""
         << taken.name << "\" sequence " << taken.sequence << " nodes";
    for (const int node : taken.nodes) {
        *out << " " << node;
    }
    *out << " adapters";
    for (const unsigned adapter : taken.adapters) {
        *out << " " << adapter;
    }
}

Taken of_nodes(int events, const std::string &name, const std::vector<int> &nodes) {
    return {Hb_Success, 0, events, name, nodes, {}, 0};
}

Taken of_adapters(int events, const std::string &name, const std::vector<unsigned> &adapters) {
    return {Hb_Success, 0, events, name, {}, adapters, 0};
}

Taken of_configuration() {
    return {Hb_Success, 0, 128, "Hb_Config_Group", {}, {}, 0};
}

Cluster_Client::Cluster_Client() {
    fill_small_cluster(service);
}

Cluster_Client::~Cluster_Client() {
    hb_terminate();
}

void Cluster_Client::open() {
    IsMOX = true;
    ASSERT_EQ(Hb_Success, MOX_create_global_event_handlers());
    ASSERT_EQ(Hb_Success, hb_init()) << "error " << hb_get_errno();
    hb_set_name(nodeEventSubscriptionName, "n");
    hb_set_name(networkEventSubscriptionName, "a");
}

std::vector<int> Cluster_Client::ready_descriptors(int milliseconds) const {
    int *descriptors = nullptr;
    int count = 0;
    EXPECT_EQ(Hb_Success, hb_get_file_descriptor_array(&descriptors, &count));
    std::vector<pollfd> waiting;
    for (int i = 0; i < count; ++i) {
        waiting.push_back({descriptors[i], POLLIN, 0});
    }
    hb_free_file_descriptor_array(descriptors);
    poll(waiting.data(), waiting.size(), milliseconds);
    std::vector<int> ready;
    for (const pollfd &each : waiting) {
        if (each.revents != 0) {
            ready.push_back(each.fd);
        }
    }
    return ready;
}

bool Cluster_Client::is_readable() const {
    return !ready_descriptors(0).empty();
}

Taken Cluster_Client::take() {
    const std::vector<int> ready = ready_descriptors(static_cast<int>(GENEROUS.count()) * 1000);
    EXPECT_FALSE(ready.empty()) << "nothing to take";
    return take_ready(ready);
}

std::vector<Taken> Cluster_Client::take_all() {
    std::vector<Taken> all;
    for (std::vector<int> ready = ready_descriptors(0); !ready.empty(); ready = ready_descriptors(0)) {
        all.push_back(take_ready(ready));
    }
    return all;
}

Taken Cluster_Client::take_ready(std::vector<int> ready) {
    ready.push_back(-1);
    std::memset(group.get(), 0x5A, sizeof *group);
    set_hb_errno(0);
    Taken taken;
    Hb_Name name = {};
    taken.sequence = 77;
    taken.result =
        hb_get_event_message(ready.data(), nullptr, &taken.events, name, group.get(), &taken.sequence);
    taken.error = hb_get_errno();
    taken.name = name;
    if (taken.events != 1 && taken.events != 2 && taken.events != 4) {
        return taken;
    }
    if (group->Hb_group_type == Hb_Node_Group) {
        for (int node = 0; node < HB_NODE_SLOTS; ++node) {
            if (group->Hb_membership_grp_union.Hb_node_membership_grp.Hb_node_list[node] == Hb_True) {
                taken.nodes.push_back(node);
            }
        }
    } else if (group->Hb_group_type == Hb_Adapter_Group) {
        for (unsigned adapter = 0; adapter < HB_ADAPTER_SLOTS; ++adapter) {
            if (group->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_adapter_list[adapter] == 0) {
                taken.adapters.push_back(adapter);
            }
        }
    }
    return taken;
}

} // namespace hb_test
