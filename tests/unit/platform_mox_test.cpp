// SPDX-License-Identifier: Apache-2.0
// The seam to the cluster-awareness service.
#include <cerrno>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "qz_mox.h"

using testing::ElementsAre;

namespace {

std::vector<std::string> calls;

std::string text(const char *name) {
    return name == nullptr ? "(default)" : name;
}

qz_mox_cluster_info_t the_cluster{};
qz_mox_node_info_t the_node{};
qz_mox_net_intf_info_t the_interface{};

// A service whose functions each leave a different mark and return a different result.
qz_mox_service_t marking_service() {
    qz_mox_service_t service{};
    service.get_cluster_info = [](const char *name, qz_mox_cluster_info_t **info) {
        calls.push_back("get_cluster_info " + text(name));
        *info = &the_cluster;
        return 101;
    };
    service.get_node_info = [](const char *name, qz_mox_node_info_t **list) {
        calls.push_back("get_node_info " + text(name));
        *list = &the_node;
        return 102;
    };
    service.get_node_info_after_event = [](const char *name, const qz_orb_event_metadata_t *event,
                                           qz_mox_node_info_t **list) {
        calls.push_back("get_node_info_after_event " + text(name) + " " + std::to_string(event->category));
        *list = &the_node;
        return 103;
    };
    service.get_net_intf_info = [](const char *name, qz_mox_net_intf_info_t **list) {
        calls.push_back("get_net_intf_info " + text(name));
        *list = &the_interface;
        return 104;
    };
    service.get_net_intf_info_after_event = [](const char *name, const qz_orb_event_metadata_t *event,
                                               qz_mox_net_intf_info_t **list) {
        calls.push_back("get_net_intf_info_after_event " + text(name) + " " + std::to_string(event->category));
        *list = &the_interface;
        return 105;
    };
    service.get_local_node_uuid = [](const char *name, qz_mox_uuid_t *uuid) {
        calls.push_back("get_local_node_uuid " + text(name));
        uuid->low = 7;
        return 106;
    };
    service.get_local_site_info = [](const char *name, qz_mox_site_info_t *site) {
        calls.push_back("get_local_site_info " + text(name));
        site->site_number = 8;
        return 107;
    };
    service.get_site_merge_policy = [](const char *name, int *policy) {
        calls.push_back("get_site_merge_policy " + text(name));
        *policy = QZ_MOX_SITE_POLICY_MANUAL;
        return 108;
    };
    service.release_cluster_info = [](qz_mox_cluster_info_t *info) {
        calls.push_back(info == &the_cluster ? "release_cluster_info" : "release of a stranger");
    };
    service.release_node_info = [](qz_mox_node_info_t *list) {
        calls.push_back(list == &the_node ? "release_node_info" : "release of a stranger");
    };
    service.release_net_intf_info = [](qz_mox_net_intf_info_t *list) {
        calls.push_back(list == &the_interface ? "release_net_intf_info" : "release of a stranger");
    };
    service.open_monitor = [](const char *fname, int *fd) {
        calls.push_back("open_monitor " + text(fname));
        *fd = 55;
        return 109;
    };
    service.read_event = [](int fd, int category, qz_orb_event_metadata_t *event) {
        calls.push_back("read_event " + std::to_string(fd) + " " + std::to_string(category));
        event->category = QZ_ORB_EVENT_CATEGORY_SITE_CFG;
        return -16;
    };
    service.release_event = [](qz_orb_event_metadata_t *event) {
        calls.push_back("release_event " + std::to_string(event->category));
    };
    return service;
}

class Mox : public testing::Test {
  protected:
    void SetUp() override { calls.clear(); }
    void TearDown() override { qz_mox_install_service(nullptr); }

    qz_mox_cluster_info_t *cluster = nullptr;
    qz_mox_node_info_t *nodes = nullptr;
    qz_mox_net_intf_info_t *interfaces = nullptr;
    qz_mox_uuid_t uuid{1, 2};
    qz_mox_site_info_t site{};
    qz_orb_event_metadata_t event{};
    int policy = 42;
    int fd = 42;

    std::vector<int> query_everything() {
        return {qz_mox_get_cluster_info(nullptr, &cluster),
                qz_mox_get_node_info("c", &nodes),
                qz_mox_get_node_info_after_event("c", &event, &nodes),
                qz_mox_get_net_intf_info("c", &interfaces),
                qz_mox_get_net_intf_info_after_event("c", &event, &interfaces),
                qz_mox_get_local_node_uuid("c", &uuid),
                qz_mox_get_local_site_info("c", &site),
                qz_mox_get_site_merge_policy("c", &policy),
                qz_orb_open_monitor("node_list", &fd),
                qz_orb_read_event(fd, QZ_ORB_MONITOR_CLUSTER_RECONFIG, &event)};
    }

    void release_everything() {
        qz_mox_release_cluster_info(&the_cluster);
        qz_mox_release_node_info(&the_node);
        qz_mox_release_net_intf_info(&the_interface);
        qz_orb_release_event(&event);
    }

    void expect_nothing_answered() {
        errno = 4711;
        EXPECT_THAT(query_everything(), ElementsAre(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1));
        release_everything();
        EXPECT_EQ(errno, 4711);
        EXPECT_EQ(cluster, nullptr);
        EXPECT_EQ(nodes, nullptr);
        EXPECT_EQ(interfaces, nullptr);
        EXPECT_TRUE(uuid.high == 1 && uuid.low == 2);
        EXPECT_EQ(site.site_number, 0u);
        EXPECT_EQ(event.category, 0);
        EXPECT_EQ(policy, 42);
        EXPECT_EQ(fd, 42);
        EXPECT_TRUE(calls.empty());
    }
};

TEST_F(Mox, WithoutAServiceQueriesGiveMinusOneAndTouchNothing) {
    EXPECT_EQ(qz_mox_service_present(), 0);
    expect_nothing_answered();
}

TEST_F(Mox, AFunctionThatTheServiceLeavesOutGivesMinusOne) {
    const qz_mox_service_t empty{};
    qz_mox_install_service(&empty);
    EXPECT_EQ(qz_mox_service_present(), 1);
    expect_nothing_answered();
}

TEST_F(Mox, EachCallGoesToItsOwnFunctionWithItsArguments) {
    const qz_mox_service_t service = marking_service();
    qz_mox_install_service(&service);
    EXPECT_EQ(qz_mox_service_present(), 1);
    event.category = QZ_ORB_EVENT_CATEGORY_NODE_LIST;
    EXPECT_THAT(query_everything(), ElementsAre(101, 102, 103, 104, 105, 106, 107, 108, 109, -16));
    EXPECT_EQ(cluster, &the_cluster);
    EXPECT_EQ(nodes, &the_node);
    EXPECT_EQ(interfaces, &the_interface);
    EXPECT_TRUE(uuid.low == 7);
    EXPECT_EQ(site.site_number, 8u);
    EXPECT_EQ(policy, 3);
    EXPECT_EQ(fd, 55);
    release_everything();
    EXPECT_THAT(calls,
                ElementsAre("get_cluster_info (default)", "get_node_info c", "get_node_info_after_event c 6",
                            "get_net_intf_info c", "get_net_intf_info_after_event c 6", "get_local_node_uuid c",
                            "get_local_site_info c", "get_site_merge_policy c", "open_monitor node_list",
                            "read_event 55 100", "release_cluster_info", "release_node_info",
                            "release_net_intf_info", "release_event 8"));
}

TEST_F(Mox, ARemovedServiceIsCalledNoMore) {
    const qz_mox_service_t service = marking_service();
    qz_mox_install_service(&service);
    qz_mox_install_service(nullptr);
    EXPECT_EQ(qz_mox_service_present(), 0);
    expect_nothing_answered();
}

TEST_F(Mox, ANewServiceTakesTheOldOnesPlace) {
    const qz_mox_service_t first = marking_service();
    qz_mox_service_t second{};
    second.get_node_info = [](const char *, qz_mox_node_info_t **) { return 7; };
    qz_mox_install_service(&first);
    qz_mox_install_service(&second);
    EXPECT_EQ(qz_mox_get_node_info(nullptr, &nodes), 7);
    EXPECT_EQ(qz_mox_get_cluster_info(nullptr, &cluster), -1);
}

TEST_F(Mox, ErrnoOfTheServiceIsHandedThrough) {
    qz_mox_service_t service{};
    service.get_cluster_info = [](const char *, qz_mox_cluster_info_t **) {
        errno = ENOENT;
        return -5;
    };
    qz_mox_install_service(&service);
    errno = 0;
    EXPECT_EQ(qz_mox_get_cluster_info(nullptr, &cluster), -5);
    EXPECT_EQ(errno, ENOENT);
}

// Written in C, since the layout and the constants must also work in C.
extern "C" int c_caller_reads_a_site_event(const qz_orb_event_metadata_t *event, uint64_t *sequence,
                                           char *mac_byte, const qz_mox_net_intf_info_t *intf, uint32_t *ipv4);

TEST_F(Mox, RecordsReadTheSameFromC) {
    qz_orb_event_site_cfg_t record{};
    record.event_type = QZ_ORB_SITE_MERGE;
    record.sequence_number = 0x1122334455667788;
    record.site_id = {1, 0xABCDEF};
    event.category = QZ_ORB_EVENT_CATEGORY_SITE_CFG;
    event.event.p_site_cfg = &record;
    the_interface.hwaddr.ieee802mac[5] = 0x42;
    the_interface.ip_addr.v4.v4_in_v6_ipv4 = 0x0100000A;
    uint64_t sequence = 0;
    char mac_byte = 0;
    uint32_t ipv4 = 0;
    EXPECT_EQ(c_caller_reads_a_site_event(&event, &sequence, &mac_byte, &the_interface, &ipv4), 12);
    EXPECT_EQ(sequence, 0x1122334455667788u);
    EXPECT_EQ(mac_byte, 0x42);
    EXPECT_EQ(ipv4, 0x0100000Au);
    EXPECT_EQ(the_interface.ip_addr.v6[12], 0x0A);
}

} // namespace
