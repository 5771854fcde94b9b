// SPDX-License-Identifier: Apache-2.0
// How the trace prints numbers that do not fit into a signed word.
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/mox/handlers/MOX_ORBFSRepositoryDiskHandler.h"
#include "tests/support/environment_guard.h"
#include "tests/support/isolated.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/cluster_events/cluster.h"

namespace hb_test {
namespace {

using mox_sim::Event_Record;
using testing::HasSubstr;

constexpr uint32_t LARGE = 0xFFFFFFFE; // 4294967294

struct Traced_Cluster {
    Traced_Cluster() { client.open(); }

    // Everything recorded until the monitor has delivered the event.
    std::string told(const std::string &monitor, const Event_Record &event) {
        client.service.push(monitor, event);
        client.take();
        std::ostringstream text;
        text << std::ifstream(directory.file("trace")).rdbuf();
        return text.str();
    }

    Temp_Dir directory;
    Environment_Guard output{"QZ_TR_OUTPUT", directory.file("trace")};
    Environment_Guard levels{"QZ_TR_LEVELS", "1"};
    Environment_Guard catalogue{"QZ_TR_CATALOGUE", TRACE_CATALOGUE};
    Cluster_Client client;
};

Event_Record large(qz_orb_event_category_t category, qz_orb_event_type_t type) {
    Event_Record event;
    event.category = category;
    event.type = type;
    event.node = LARGE;
    event.sequence = LARGE;
    event.reason = LARGE;
    event.site = LARGE;
    event.site_priority = LARGE;
    event.site_policy = LARGE;
    event.local_nodes_up = LARGE;
    event.remote_nodes_up = LARGE;
    return event;
}

ISOLATED_TEST(TraceText, HasNodesOfTheServiceUnsigned) {
    Traced_Cluster cluster;
    const std::string text = cluster.told("peer_gs_liveness", large(QZ_ORB_EVENT_CATEGORY_PROCESS_LIVENESS, 1));
    EXPECT_THAT(text, HasSubstr(" 12 membership daemon of node 4294967294: event type 1\n"));
    EXPECT_THAT(text, HasSubstr(" 14 membership daemon of node 4294967294, which is not configured\n"));
    EXPECT_THAT(cluster.told("node_liveness", large(QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS, 0)),
                HasSubstr(" 170 node liveness: 4294967294 is not a node number\n"));
    char monitor[] = "repos_disk";
    ORBFSRepositoryDiskHandler disk(monitor);
    EXPECT_THAT(cluster.told("repos_disk", large(QZ_ORB_EVENT_CATEGORY_REPOS_DISK, 0)),
                HasSubstr(" 199 repository disk of node 4294967294: event type 0\n"));
}

ISOLATED_TEST(TraceText, HasSitesUnsigned) {
    Traced_Cluster cluster;
    const std::string fields = "node 4294967294, site 4294967294, priority 4294967294, policy 4294967294, "
                               "4294967294 nodes up here and 4294967294 there, reason 0\n";
    EXPECT_THAT(cluster.told("site_cfg", large(QZ_ORB_EVENT_CATEGORY_SITE_CFG, QZ_ORB_SITE_DOWN)),
                HasSubstr(" 204 site down: " + fields));
    EXPECT_THAT(cluster.told("site_cfg", large(QZ_ORB_EVENT_CATEGORY_SITE_CFG, QZ_ORB_SITE_UP)),
                HasSubstr(" 205 site up: " + fields));
}

ISOLATED_TEST(TraceText, HasReconfigurationsUnsigned) {
    Traced_Cluster cluster;
    Event_Record event = large(0, 0);
    event.is_reconfiguration = true;
    EXPECT_THAT(cluster.told("cluster_reconfig", event),
                HasSubstr(" 228 reconfiguration 4294967294, reason 4294967294\n"));
}

} // namespace
} // namespace hb_test
