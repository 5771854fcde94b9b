// SPDX-License-Identifier: Apache-2.0
// A library in daemon mode, and a cluster service that it can migrate to.
#pragma once

#include <gtest/gtest.h>

#include "hb_client.h"
#include "lib/base/error_number.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/subscription_names.h"
#include "tests/support/fake_daemon.h"
#include "tests/unit/cluster_events/cluster.h"

namespace hb_test {

// A daemon with nodes 1, 2 and 4, and a service with nodes 1 to 4. Nodes 1, 2 and 3 have two adapters each.
struct Moving {
    Moving() {
        mox_sim::Node node;
        node.number = 4;
        client.service.set(node);
        EXPECT_EQ(Hb_Success, hb_init());
        hb_set_name(nodeEventSubscriptionName, "n");
        hb_set_name(networkEventSubscriptionName, "a");
        set_hb_errno(777);
    }

    static int nodes() {
        int count = -1;
        EXPECT_EQ(Hb_Success, hb_get_number_of_configured_nodes(&count));
        return count;
    }
    static void expect_daemon_mode() {
        EXPECT_FALSE(IsMOX);
        ASSERT_NE(nullptr, client_socket);
        int *descriptors = nullptr;
        int count = 0;
        EXPECT_EQ(Hb_Success, hb_get_file_descriptor_array(&descriptors, &count));
        EXPECT_EQ(1, count);
        EXPECT_EQ(client_socket->socket(), descriptors[0]);
        hb_free_file_descriptor_array(descriptors);
        EXPECT_EQ(3, nodes()) << "the daemon's";
    }

    Fake_Daemon daemon;
    Cluster_Client client;
};

} // namespace hb_test
