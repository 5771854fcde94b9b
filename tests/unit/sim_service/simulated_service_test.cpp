// SPDX-License-Identifier: Apache-2.0
// The simulated cluster service: it reports what was set, fails as chosen, and delivers pushed events.
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "providers/sim/simulated_service.h"
#include "tests/support/process_counters.h"
#include "tests/support/unique_fd.h"

namespace mox_sim {
namespace {

using hb_test::Unique_Fd;

Unique_Fd open_monitor(const char *name) {
    int fd = -1;
    EXPECT_EQ(0, qz_orb_open_monitor(name, &fd));
    return Unique_Fd(fd);
}

bool is_readable(const Unique_Fd &monitor) {
    pollfd waiting = {monitor.get(), POLLIN, 0};
    return poll(&waiting, 1, 0) == 1 && waiting.revents == POLLIN;
}

Event_Record event_of(qz_orb_event_type_t type, uint32_t node) {
    Event_Record event;
    event.type = type;
    event.node = node;
    return event;
}

// ---- Installation ----

TEST(SimulatedService, IsInstalledWhileItLives) {
    EXPECT_EQ(0, qz_mox_service_present());
    {
        const Simulated_Service service;
        EXPECT_EQ(1, qz_mox_service_present());
    }
    EXPECT_EQ(0, qz_mox_service_present());
}

TEST(SimulatedService, IsOneAtATime) {
    const Simulated_Service service;
    EXPECT_THROW(Simulated_Service(), std::logic_error);
    EXPECT_EQ(1, qz_mox_service_present());
}

// ---- Queries ----

TEST(SimulatedService, TellsTheCluster) {
    Simulated_Service service;
    service.set_cluster("name", 7);
    qz_mox_cluster_info_t *info = nullptr;
    ASSERT_EQ(0, qz_mox_get_cluster_info(nullptr, &info));
    EXPECT_EQ(7U, info->local_node_number);
    EXPECT_STREQ("name", info->p_cluster_name);
    EXPECT_EQ(1, service.lists_out());
    qz_mox_release_cluster_info(info);
    EXPECT_EQ(0, service.lists_out());
}

TEST(SimulatedService, TellsNodesInTheOrderInWhichTheyWereSet) {
    Simulated_Service service;
    service.set(Node{9, "nine", QZ_MOX_NODE_STATUS_DOWN, QZ_MOX_CFG_OP_DEL, 3});
    service.set(Node{2, "two", QZ_MOX_NODE_STATUS_UP, QZ_MOX_CFG_OP_UNDEF, 0});
    service.set(Node{9, "nine", QZ_MOX_NODE_STATUS_UNDEF, QZ_MOX_CFG_OP_ADD, 4}); // replaces it
    qz_mox_node_info_t *list = nullptr;
    ASSERT_EQ(0, qz_mox_get_node_info(nullptr, &list));
    ASSERT_NE(nullptr, list);
    EXPECT_EQ(9U, list->number);
    EXPECT_STREQ("nine", list->p_name);
    EXPECT_EQ(QZ_MOX_NODE_STATUS_UNDEF, list->status);
    EXPECT_EQ(QZ_MOX_CFG_OP_ADD, list->cfg_op);
    EXPECT_EQ(4U, list->site_number);
    ASSERT_NE(nullptr, list->p_next);
    EXPECT_EQ(2U, list->p_next->number);
    EXPECT_EQ(nullptr, list->p_next->p_next);
    EXPECT_EQ(1, service.lists_out());
    qz_mox_release_node_info(list);
    EXPECT_EQ(0, service.lists_out());
}

TEST(SimulatedService, TellsInterfacesAlsoWithoutAName) {
    Simulated_Service service;
    service.set(Interface{2, "eth0", address_of("10.1.2.3"), QZ_MOX_INTF_STATUS_DOWN});
    service.set(Interface{2, std::nullopt, address_of("fd00::1"), QZ_MOX_INTF_STATUS_UP});
    qz_mox_net_intf_info_t *list = nullptr;
    ASSERT_EQ(0, qz_mox_get_net_intf_info(nullptr, &list));
    ASSERT_NE(nullptr, list);
    EXPECT_EQ(2U, list->node_number);
    EXPECT_STREQ("eth0", list->p_name);
    const unsigned char mapped[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 10, 1, 2, 3};
    EXPECT_EQ(0, std::memcmp(mapped, &list->ip_addr, sizeof mapped));
    EXPECT_EQ(QZ_MOX_INTF_STATUS_DOWN, list->status);
    EXPECT_EQ(QZ_MOX_DEVTYPE_ETHER, list->type);
    ASSERT_NE(nullptr, list->p_next);
    EXPECT_EQ(nullptr, list->p_next->p_name);
    qz_mox_release_net_intf_info(list);
    EXPECT_EQ(0, service.lists_out());
}

TEST(SimulatedService, ForgetsWhatIsRemoved) {
    Simulated_Service service;
    service.set(Node{1, "one"});
    service.set(Node{2, "two"});
    service.set(Interface{1, "eth0"});
    service.set(Interface{2, "eth0"});
    service.set(Interface{2, "eth1"});
    service.remove_interface(2, "eth0");
    EXPECT_EQ(2U, service.interfaces().size());
    service.remove_node(2);
    ASSERT_EQ(1U, service.nodes().size());
    EXPECT_EQ(1U, service.nodes()[0].number);
    EXPECT_EQ(1U, service.interfaces().size());
    service.clear();
    qz_mox_node_info_t *list = nullptr;
    ASSERT_EQ(0, qz_mox_get_node_info_after_event(nullptr, nullptr, &list));
    EXPECT_EQ(nullptr, list);
    EXPECT_EQ(0, service.lists_out());
    qz_mox_release_node_info(list);
}

TEST(SimulatedService, TellsSiteIdentityAndPolicy) {
    Simulated_Service service;
    Site site;
    site.number = 3;
    site.name = "east";
    site.policy = QZ_MOX_SITE_POLICY_MANUAL;
    site.priority = 8;
    site.status = QZ_MOX_SITE_STATUS_UP;
    site.merge_flag = QZ_MOX_SITE_MERGE_FLAG_MERGE_PENDING;
    site.nodes_up = 5;
    service.set_local_site(site);
    service.set_merge_policy(2);
    service.set_local_uuid({0x1122334455667788, 0x99});
    qz_mox_site_info_t told{};
    ASSERT_EQ(0, qz_mox_get_local_site_info(nullptr, &told));
    EXPECT_EQ(3U, told.site_number);
    EXPECT_STREQ("east", told.p_name);
    EXPECT_EQ(QZ_MOX_SITE_POLICY_MANUAL, told.site_policy);
    EXPECT_EQ(8U, told.site_priority);
    EXPECT_EQ(QZ_MOX_SITE_MERGE_FLAG_MERGE_PENDING, told.merge_flag);
    EXPECT_EQ(5U, told.nodes_up);
    int policy = 0;
    ASSERT_EQ(0, qz_mox_get_site_merge_policy(nullptr, &policy));
    EXPECT_EQ(2, policy);
    qz_mox_uuid_t uuid{};
    ASSERT_EQ(0, qz_mox_get_local_node_uuid(nullptr, &uuid));
    EXPECT_EQ(0x1122334455667788U, uuid.high);
    EXPECT_EQ(0x99U, uuid.low);
}

TEST(SimulatedService, AddressesAreIPv4OrIPv6) {
    EXPECT_THROW(address_of(""), std::invalid_argument);
    EXPECT_THROW(address_of("10.1.2"), std::invalid_argument);
    EXPECT_THROW(address_of("eth0"), std::invalid_argument);
}

// ---- Failures ----

TEST(SimulatedService, EachOperationFailsAsChosenAndHeals) {
    Simulated_Service service;
    qz_mox_node_info_t *list = nullptr;
    service.fail(Operation::get_node_info, -5, ERANGE, 1, 2);
    errno = 0;
    ASSERT_EQ(0, qz_mox_get_node_info(nullptr, &list)); // the first one works
    for (int i = 0; i < 2; ++i) {
        errno = 0;
        EXPECT_EQ(-5, qz_mox_get_node_info(nullptr, &list));
        EXPECT_EQ(ERANGE, errno);
    }
    EXPECT_EQ(0, qz_mox_get_node_info(nullptr, &list));
    EXPECT_EQ(4, service.calls(Operation::get_node_info));
    EXPECT_EQ(0, service.calls(Operation::get_net_intf_info));

    service.fail(Operation::open_monitor, -1, EMFILE);
    int fd = -1;
    EXPECT_EQ(-1, qz_orb_open_monitor("node_list", &fd));
    EXPECT_EQ(-1, qz_orb_open_monitor("node_list", &fd));
    EXPECT_EQ(EMFILE, errno);
    EXPECT_EQ(0, service.monitors_opened());
    service.heal(Operation::open_monitor);
    const Unique_Fd monitor = open_monitor("node_list");
    EXPECT_EQ(1, service.monitors_opened());
}

// ---- Events ----

TEST(SimulatedService, AMonitorIsReadableAsLongAsEventsAreHeld) {
    Simulated_Service service;
    const Unique_Fd monitor = open_monitor("node_liveness");
    EXPECT_FALSE(is_readable(monitor));
    service.push("node_liveness", event_of(QZ_ORB_EVENT_DOWN, 3));
    service.push("node_liveness", event_of(QZ_ORB_EVENT_UP, 4));
    service.push("adapter_liveness", event_of(QZ_ORB_EVENT_UP, 5)); // no monitor is open
    EXPECT_TRUE(is_readable(monitor));

    qz_orb_event_metadata_t event{};
    ASSERT_EQ(0, qz_orb_read_event(monitor.get(), 0, &event));
    EXPECT_EQ(QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS, event.category);
    EXPECT_EQ(QZ_ORB_EVENT_DOWN, event.event.p_node_liveness->event_type);
    EXPECT_EQ(3U, event.event.p_node_liveness->node_number);
    const uint64_t first = event.event.p_node_liveness->sequence_number;
    EXPECT_EQ(1, service.events_out());
    qz_orb_release_event(&event);
    EXPECT_EQ(0, service.events_out());
    EXPECT_TRUE(is_readable(monitor));
    ASSERT_EQ(0, qz_orb_read_event(monitor.get(), 0, &event));
    EXPECT_EQ(4U, event.event.p_node_liveness->node_number);
    EXPECT_EQ(first + 1, event.event.p_node_liveness->sequence_number);
    qz_orb_release_event(&event);
    EXPECT_FALSE(is_readable(monitor));
    EXPECT_EQ(-16, qz_orb_read_event(monitor.get(), 0, &event));
}

TEST(SimulatedService, ReadResultsAreScripted) {
    Simulated_Service service;
    const Unique_Fd monitor = open_monitor("ip_change");
    qz_orb_event_metadata_t event{};
    for (const int result : {-16, -1, 5, -99}) {
        service.push_result("ip_change", result, ENXIO);
        EXPECT_TRUE(is_readable(monitor));
        errno = 0;
        EXPECT_EQ(result, qz_orb_read_event(monitor.get(), 5, &event));
        EXPECT_EQ(ENXIO, errno);
        EXPECT_FALSE(is_readable(monitor));
    }
    EXPECT_EQ(0, service.events_out());
}

TEST(SimulatedService, EveryListenerOfAMonitorGetsEveryEvent) {
    Simulated_Service service;
    const Unique_Fd one = open_monitor("node_list");
    const Unique_Fd other = open_monitor("node_list");
    service.push("node_list", event_of(QZ_ORB_EVENT_ADD, 6));
    for (const Unique_Fd *monitor : {&one, &other}) {
        qz_orb_event_metadata_t event{};
        ASSERT_EQ(0, qz_orb_read_event(monitor->get(), 6, &event));
        qz_orb_release_event(&event);
    }
}

TEST(SimulatedService, ADescriptorThatIsNoMonitorHasNoEvents) {
    const Simulated_Service service;
    qz_orb_event_metadata_t event{};
    EXPECT_EQ(-16, qz_orb_read_event(0, 0, &event));
    EXPECT_EQ(-16, qz_orb_read_event(-1, 0, &event));
}

TEST(SimulatedService, ARecordHasTheFieldsOfItsCategory) {
    Simulated_Service service;
    const Unique_Fd monitor = open_monitor("adapter_liveness");
    Event_Record record = event_of(QZ_ORB_EVENT_UP, 3);
    record.category = QZ_ORB_EVENT_CATEGORY_ADAPTER_LIVENESS;
    record.name = "eth7";
    record.sequence = 0x123456789A;
    record.reason = 12;
    service.push("adapter_liveness", record);
    record.is_reconfiguration = true;
    service.push("adapter_liveness", record);
    qz_orb_event_metadata_t event{};
    ASSERT_EQ(0, qz_orb_read_event(monitor.get(), 1, &event));
    EXPECT_EQ(QZ_ORB_EVENT_CATEGORY_ADAPTER_LIVENESS, event.category);
    EXPECT_STREQ("eth7", event.event.p_adapter_liveness->p_interface_name);
    EXPECT_EQ(0x123456789AU, event.event.p_adapter_liveness->sequence_number);
    EXPECT_EQ(12U, event.event.p_adapter_liveness->reason_number);
    qz_orb_release_event(&event);
    ASSERT_EQ(0, qz_orb_read_event(monitor.get(), 100, &event));
    EXPECT_EQ(0x123456789AU, event.event.p_cluster_reconfig->sequence_number);
    EXPECT_EQ(12U, event.event.p_cluster_reconfig->reason_number);
    qz_orb_release_event(&event);
    EXPECT_EQ(0, service.events_out());
}

TEST(SimulatedService, ChangingTheStateTellsIt) {
    Simulated_Service service;
    service.set(Node{3, "three"});
    service.set(Interface{3, "eth0"});
    service.set(Interface{3, "eth1"});
    const Unique_Fd nodes = open_monitor("node_liveness");
    const Unique_Fd adapters = open_monitor("adapter_liveness");
    service.node_down(3);
    EXPECT_TRUE(is_readable(nodes));
    EXPECT_FALSE(is_readable(adapters)); // the node's event includes them
    EXPECT_EQ(QZ_MOX_NODE_STATUS_DOWN, service.nodes()[0].status);
    EXPECT_EQ(QZ_MOX_INTF_STATUS_DOWN, service.interfaces()[1].status);
    service.node_up(3);
    EXPECT_EQ(QZ_MOX_NODE_STATUS_UP, service.nodes()[0].status);
    EXPECT_EQ(QZ_MOX_INTF_STATUS_UP, service.interfaces()[1].status);
    service.interface_down(3, "eth1");
    EXPECT_FALSE(is_readable(adapters)) << "until the node's events are read, they stand for it";
    service.interface_up(3, "eth1");
    for (int event = 0; event < 2; ++event) {
        qz_orb_event_metadata_t read{};
        ASSERT_EQ(0, qz_orb_read_event(nodes.get(), 0, &read));
        qz_orb_release_event(&read);
    }
    service.interface_down(3, "eth1");
    EXPECT_TRUE(is_readable(adapters));
    EXPECT_EQ(QZ_MOX_INTF_STATUS_UP, service.interfaces()[0].status);
    EXPECT_EQ(QZ_MOX_INTF_STATUS_DOWN, service.interfaces()[1].status);
    service.interface_up(3, "eth1");
    EXPECT_EQ(QZ_MOX_INTF_STATUS_UP, service.interfaces()[1].status);
}

TEST(SimulatedService, AWholeChangeIsThereWithItsEvents) {
    Simulated_Service service;
    const Unique_Fd monitor = open_monitor("cluster_reconfig");
    Event_Record event;
    event.is_reconfiguration = true;
    service.change({{Node{5, "five"}}, {Interface{5, "eth0"}}}, {{"cluster_reconfig", event}});
    EXPECT_EQ(5U, service.nodes().front().number);
    EXPECT_EQ(1U, service.interfaces().size());
    EXPECT_TRUE(is_readable(monitor));
}

TEST(SimulatedService, TellsWhenTheFirstMonitorIsOpened) {
    Simulated_Service service;
    int times = 0;
    service.when_first_opened([&times] { ++times; });
    EXPECT_EQ(0, times);
    const Unique_Fd one = open_monitor("node_list");
    const Unique_Fd other = open_monitor("node_list");
    EXPECT_EQ(1, times);
}

TEST(SimulatedService, ClosedMonitorsAreForgottenWithTheirEvents) {
    Simulated_Service service;
    const int before = hb_test::open_descriptors();
    for (int i = 0; i < 100; ++i) {
        const Unique_Fd monitor = open_monitor("node_list");
        service.push("node_list", event_of(QZ_ORB_EVENT_ADD, 6));
    }
    service.push("node_list", event_of(QZ_ORB_EVENT_ADD, 6)); // notices the closed ones
    EXPECT_GE(before + 1, hb_test::open_descriptors());
    const Unique_Fd monitor = open_monitor("node_list");
    EXPECT_FALSE(is_readable(monitor));
}

TEST(SimulatedService, IsUsedFromSeveralThreads) {
    Simulated_Service service;
    const Unique_Fd monitor = open_monitor("node_liveness");
    constexpr int EVENTS = 500;
    std::thread pusher([&service] {
        for (uint32_t i = 0; i < EVENTS; ++i) {
            service.set(Node{i % 7, "node"});
            service.push("node_liveness", event_of(QZ_ORB_EVENT_UP, i));
        }
    });
    for (uint32_t i = 0; i < EVENTS;) {
        qz_mox_node_info_t *list = nullptr;
        ASSERT_EQ(0, qz_mox_get_node_info(nullptr, &list));
        qz_mox_release_node_info(list);
        qz_orb_event_metadata_t event{};
        if (qz_orb_read_event(monitor.get(), 0, &event) == 0) {
            EXPECT_EQ(i++, event.event.p_node_liveness->node_number);
            qz_orb_release_event(&event);
        }
    }
    pusher.join();
    EXPECT_EQ(0, service.events_out());
    EXPECT_EQ(0, service.lists_out());
}

} // namespace
} // namespace mox_sim
