// SPDX-License-Identifier: Apache-2.0
// The common behaviour of all monitor handlers: reading, trace records, and what they do not change.
#include <cerrno>
#include <map>
#include <memory>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/hb_global_data/event_queue.h"
#include "lib/mox/handlers/MOX_ORBFSRepositoryDiskHandler.h"
#include "lib/mox/handlers/handler_creation.h"
#include "lib/mox/handlers/process_handlers.h"
#include "tests/support/isolated.h"
#include "tests/unit/cluster_events/cluster.h"
#include "tests/unit/mox_handlers/handler_call.h"
#include "tests/unit/mox_handlers/plain_service.h"

namespace hb_test {
namespace {

using mox_sim::Event_Record;
using testing::AnyOf;
using testing::Each;
using testing::ElementsAre;
using testing::Not;

constexpr unsigned INFO = 1;

// A handler with its monitor and its trace records; 0 for a record that it does not have.
struct Watcher {
    const char *monitor;
    ORBFSHandler *handler;
    uint32_t entry;
    uint32_t read_failed;
    uint32_t exit;
    uint32_t no_event;
};

std::vector<Watcher> watchers(ORBFSHandler &disk) {
    return {{"adapter_liveness", adapter_event_handler_p, 221, 15, 222, 238},
            {"node_liveness", node_liveness_handler_p, 231, 11, 232, 236},
            {"node_list", node_list_handler_p, 229, 116, 230, 241},
            {"peer_gs_liveness", peer_GS_liveness_handler_p, 0, 13, 0, 237},
            {"ip_change", ip_change_handler_p, 225, 95, 226, 240},
            {"cluster_reconfig", cluster_reconfig_handler_p, 0, 52, 0, 239},
            {"repos_disk", &disk, 0, 198, 0, 242},
            {"site_cfg", site_config_handler_p, 219, 210, 220, 243}};
}

Event_Record event_for(const std::string &monitor) {
    Event_Record event = node_record(QZ_ORB_EVENT_UP, 2);
    if (monitor == "adapter_liveness") {
        event = adapter_record(QZ_ORB_EVENT_UP, 2, "eth0");
    } else if (monitor == "node_list") {
        event.category = QZ_ORB_EVENT_CATEGORY_NODE_LIST;
    } else if (monitor == "peer_gs_liveness") {
        event.category = QZ_ORB_EVENT_CATEGORY_PROCESS_LIVENESS;
    } else if (monitor == "ip_change") {
        event.category = QZ_ORB_EVENT_CATEGORY_IP_CHANGE;
        event.type = QZ_ORB_ADDRESS_ADD;
    } else if (monitor == "cluster_reconfig") {
        event.is_reconfiguration = true;
    } else if (monitor == "repos_disk") {
        event.category = QZ_ORB_EVENT_CATEGORY_REPOS_DISK;
    } else if (monitor == "site_cfg") {
        event.category = QZ_ORB_EVENT_CATEGORY_SITE_CFG;
        event.type = QZ_ORB_SITE_UP;
    }
    return event;
}

std::vector<uint32_t> without_zeros(std::initializer_list<uint32_t> ids) {
    std::vector<uint32_t> kept;
    for (const uint32_t id : ids) {
        if (id != 0) {
            kept.push_back(id);
        }
    }
    return kept;
}

ISOLATED_TEST(Reading, IsOfTheMonitorsCategory) {
    const std::map<std::string, int> categories = {
        {"adapter_liveness", 1}, {"node_liveness", 0},      {"node_list", 6},  {"peer_gs_liveness", 2},
        {"ip_change", 5},        {"cluster_reconfig", 100}, {"repos_disk", 7}, {"site_cfg", 8}};
    Cluster_Client client;
    client.open();
    char disk_monitor[] = "repos_disk";
    ORBFSRepositoryDiskHandler disk(disk_monitor);
    for (const Watcher &watcher : watchers(disk)) {
        SCOPED_TRACE(watcher.monitor);
        EXPECT_EQ(std::nullopt, client.service.category_asked(watcher.monitor));
        Handler_Call call;
        EXPECT_EQ(Hb_Success, call.run(watcher.handler));
        EXPECT_EQ(categories.at(watcher.monitor), client.service.category_asked(watcher.monitor));
    }
}

ISOLATED_TEST(Reading, WithoutAnEventIsTracedAndGivesEvents0) {
    Cluster_Client client;
    client.open();
    char disk_monitor[] = "repos_disk";
    ORBFSRepositoryDiskHandler disk(disk_monitor);
    for (const Watcher &watcher : watchers(disk)) {
        SCOPED_TRACE(watcher.monitor);
        client.service.push_result(watcher.monitor, -16, EBUSY);
        const Trace_Spy spy(0, 1, 0);
        Handler_Call call;
        EXPECT_EQ(Hb_Success, call.run(watcher.handler));
        EXPECT_EQ(without_zeros({watcher.entry, watcher.no_event}), traced_ids(spy))
            << "there is no exit record";
        const auto fd = static_cast<uint32_t>(watcher.handler->getFileDescriptor());
        for (const Trace_Record &record : spy.records()) {
            EXPECT_EQ((Trace_Record{"_HBC", record.id, INFO, {fd}, {}}), record);
        }
        EXPECT_EQ(EBUSY, call.system_error) << "what tracing does to it is undone";
        EXPECT_EQ(0, call.events);
        EXPECT_EQ("untouched", call.name);
        EXPECT_EQ(Handler_Call::NO_SEQUENCE, call.sequence);
        EXPECT_EQ(Handler_Call::NO_ERROR_NUMBER, call.error);
        EXPECT_TRUE(call.header_is_untouched());
        EXPECT_TRUE(queued().empty());
    }
}

ISOLATED_TEST(Reading, ThatFailsIsTracedWithResultDescriptorAndErrnoAndChangesNothing) {
    Cluster_Client client;
    client.open();
    char disk_monitor[] = "repos_disk";
    ORBFSRepositoryDiskHandler disk(disk_monitor);
    for (const Watcher &watcher : watchers(disk)) {
        SCOPED_TRACE(watcher.monitor);
        client.service.push_result(watcher.monitor, -5, ENODEV);
        const Trace_Spy spy(0, 1, 0);
        Handler_Call call;
        EXPECT_EQ(Hb_Failure, call.run(watcher.handler));
        EXPECT_EQ(without_zeros({watcher.entry, watcher.read_failed}), traced_ids(spy))
            << "there is no exit record";
        const auto fd = static_cast<uint32_t>(watcher.handler->getFileDescriptor());
        EXPECT_EQ(
            (Trace_Record{"_HBC", watcher.read_failed, INFO, {static_cast<uint32_t>(-5), fd, ENODEV}, {}}),
            spy.records().back());
        EXPECT_EQ(ENODEV, call.system_error) << "what tracing does to it is undone";
        EXPECT_EQ(Handler_Call::NO_ERROR_NUMBER, call.error);
        EXPECT_EQ(Handler_Call::NO_EVENTS, call.events);
        EXPECT_EQ("untouched", call.name);
        EXPECT_EQ(Handler_Call::NO_SEQUENCE, call.sequence);
        EXPECT_TRUE(call.header_is_untouched());
        EXPECT_EQ(std::string(watcher.monitor) != "adapter_liveness", call.group_is_untouched());
        EXPECT_TRUE(queued().empty());
    }
}

ISOLATED_TEST(Reading, OfAnEventIsTracedAtBeginningAndEndAndTheEventGoesBack) {
    Cluster_Client client;
    client.open();
    char disk_monitor[] = "repos_disk";
    ORBFSRepositoryDiskHandler disk(disk_monitor);
    for (const Watcher &watcher : watchers(disk)) {
        SCOPED_TRACE(watcher.monitor);
        client.service.push(watcher.monitor, event_for(watcher.monitor));
        const Trace_Spy spy(0, 1, 0);
        Handler_Call call;
        EXPECT_EQ(Hb_Success, call.run(watcher.handler));
        EXPECT_EQ(0, call.system_error) << "what tracing does to it is undone";
        ASSERT_FALSE(spy.records().empty());
        const auto fd = static_cast<uint32_t>(watcher.handler->getFileDescriptor());
        if (watcher.entry != 0) {
            EXPECT_EQ((Trace_Record{"_HBC", watcher.entry, INFO, {fd}, {}}), spy.records().front());
            EXPECT_EQ((Trace_Record{"_HBC", watcher.exit, INFO, {fd}, {}}), spy.records().back());
        }
        EXPECT_EQ(0, client.service.events_out());
        EXPECT_EQ(0, client.service.lists_out());
        client.take_all();
    }
}

ISOLATED_TEST(Reading, OfPeersDiskAndReconfigurationsHasNoRecordOfBeginningAndEnd) {
    Cluster_Client client;
    client.open();
    char disk_monitor[] = "repos_disk";
    ORBFSRepositoryDiskHandler disk(disk_monitor);
    const auto traced_with = [&](const std::string &monitor, ORBFSHandler *handler) {
        client.service.push(monitor, event_for(monitor));
        const Trace_Spy spy(0, 1, 0);
        Handler_Call call;
        EXPECT_EQ(Hb_Success, call.run(handler));
        return traced_ids(spy);
    };
    EXPECT_THAT(traced_with("peer_gs_liveness", peer_GS_liveness_handler_p), ElementsAre(12));
    EXPECT_THAT(traced_with("repos_disk", &disk), ElementsAre(199));
    const std::vector<uint32_t> rebuilding = traced_with("cluster_reconfig", cluster_reconfig_handler_p);
    ASSERT_FALSE(rebuilding.empty());
    EXPECT_EQ(228U, rebuilding.front());
    EXPECT_THAT(rebuilding, Each(Not(AnyOf(219, 220, 221, 222, 225, 226, 229, 230, 231, 232))));
}

ISOLATED_TEST(Reading, RecordsNothingWhileTheDetailBytesAreZero) {
    Cluster_Client client;
    client.open();
    const Trace_Spy spy(0, 0, 0);
    client.service.node_down(3);
    client.take_all();
    EXPECT_TRUE(spy.records().empty());
}

ISOLATED_TEST(Reading, AnEventWithoutTheRecordThatIsLookedIntoIsAFailureAndGoesBack) {
    const Plain_Service service("plain");
    ASSERT_EQ(Hb_Success, MOX_create_global_event_handlers());
    char disk_monitor[] = "repos_disk";
    ORBFSRepositoryDiskHandler disk(disk_monitor);
    int given = 0;
    const std::initializer_list<ORBFSHandler *> looking = {adapter_event_handler_p,    node_liveness_handler_p,
                                                           peer_GS_liveness_handler_p, ip_change_handler_p,
                                                           site_config_handler_p,      &disk};
    for (ORBFSHandler *handler : looking) {
        Handler_Call call;
        EXPECT_EQ(Hb_Failure, call.run(handler));
        EXPECT_EQ(Handler_Call::NO_EVENTS, call.events);
        EXPECT_EQ(Handler_Call::NO_ERROR_NUMBER, call.error);
        EXPECT_EQ(++given, service.events_given());
        EXPECT_EQ(given, service.events_released());
    }
}

ISOLATED_TEST(Reading, AnEventWithoutARecordRebuildsTheTableOfNodeListAndReconfiguration) {
    const Plain_Service service("plain");
    ASSERT_EQ(Hb_Success, MOX_create_global_event_handlers());
    int given = 0;
    for (ORBFSHandler *handler : {node_list_handler_p, cluster_reconfig_handler_p}) {
        const Trace_Spy spy(0, 1, 0);
        Handler_Call call;
        EXPECT_EQ(Hb_Success, call.run(handler));
        EXPECT_EQ(CONFIG, call.events);
        EXPECT_EQ("Hb_Config_Group", call.name);
        EXPECT_EQ(nullptr, traced(spy, 228)) << "there is no record to trace";
        EXPECT_EQ(++given, service.events_given());
        EXPECT_EQ(given, service.events_released());
    }
}

ISOLATED_TEST(Reading, FailsEverywhereOnceTheServiceIsGone) {
    std::unique_ptr<ORBFSRepositoryDiskHandler> disk;
    {
        mox_sim::Simulated_Service service;
        fill_small_cluster(service);
        ASSERT_EQ(Hb_Success, MOX_create_global_event_handlers());
        char disk_monitor[] = "repos_disk";
        disk = std::make_unique<ORBFSRepositoryDiskHandler>(disk_monitor);
    }
    for (const Watcher &watcher : watchers(*disk)) {
        SCOPED_TRACE(watcher.monitor);
        const Trace_Spy spy(0, 1, 0);
        Handler_Call call;
        EXPECT_EQ(Hb_Failure, call.run(watcher.handler));
        ASSERT_NE(nullptr, traced(spy, watcher.read_failed));
        EXPECT_THAT(traced(spy, watcher.read_failed)->values,
                    ElementsAre(0xFFFFFFFFU, static_cast<uint32_t>(watcher.handler->getFileDescriptor()), 0));
        EXPECT_EQ(Handler_Call::NO_ERROR_NUMBER, call.error);
    }
}

} // namespace
} // namespace hb_test
