// SPDX-License-Identifier: Apache-2.0
// The order of a migration's steps, the error number that it leaves, and its behaviour when something fails.
#include <cerrno>
#include <functional>
#include <memory>
#include <poll.h>
#include <pthread.h>
#include <sys/mman.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/api/session.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/mox/handlers/MOX_ORBFSConfigurationHandler.h"
#include "lib/mox/handlers/MOX_ORBFSRepositoryDiskHandler.h"
#include "lib/mox/handlers/process_handlers.h"
#include "lib/mox/table_update.h"
#include "tests/support/environment_guard.h"
#include "tests/support/faults.h"
#include "tests/support/isolated.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/mox_handlers/handler_call.h"
#include "tests/unit/mox_handlers/moving.h"

namespace hb_test {
namespace {

using mox_sim::Operation;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

// The lists and indexes of a table. They are smaller than an event and larger than everything else.
constexpr std::size_t SIZE_OF_A_LIST = 16000;

mox_sim::Event_Record reconfiguration() {
    mox_sim::Event_Record event;
    event.is_reconfiguration = true;
    return event;
}

void prepare_and_commit() {
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
}

// ---- Order ----

ISOLATED_TEST(Moving, ACommitTellsTheDaemonThenLeavesItAndThenBuildsTheTable) {
    Moving moving;
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    const Trace_Spy spy(0, 1, 0);
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    std::vector<uint32_t> steps;
    for (const uint32_t id : traced_ids(spy)) {
        if (id == 109 || id == 111 || id == 110 || id == 30) {
            steps.push_back(id);
        }
    }
    EXPECT_THAT(steps, ElementsAre(109, 111, 110, 30));
}

ISOLATED_TEST(Moving, WhatTheDaemonToldAndNobodyTookComesThroughTheComparison) {
    Moving moving;
    moving.client.service.interface_down(1, "eth1");
    moving.daemon.run(send_record(reply(2, Bytes().i32(0).i32(3).i32(1)))); // adapter 3 died
    ASSERT_TRUE(moving.daemon.wait_steps_done());
    pollfd waiting = {client_socket->socket(), POLLIN, 0};
    ASSERT_EQ(1, poll(&waiting, 1, 0)) << "the event is there to be taken";
    prepare_and_commit();
    EXPECT_THAT(moving.client.take_all(),
                ElementsAre(of_adapters(DEATH, "a", {3}), of_configuration(), of_nodes(JOIN, "n", {3}),
                            of_adapters(JOIN, "a", {97, 144, 145})));
    moving.client.service.interface_up(1, "eth1");
    EXPECT_EQ(of_adapters(JOIN, "a", {49}), moving.client.take());
}

ISOLATED_TEST(Moving, WhatHappensBetweenPreparationAndCommitIsToldOnce) {
    Moving moving;
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    moving.client.service.interface_down(1, "eth1");
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    EXPECT_THAT(moving.client.take_all(),
                ElementsAre(of_adapters(DEATH, "a", {3}), of_configuration(), of_nodes(JOIN, "n", {3}),
                            of_adapters(JOIN, "a", {97, 144, 145})))
        << "the monitor's own event was read by the commit";
}

// ---- Error numbers ----

ISOLATED_TEST(Moving, WhatTheServiceHasNeitherUpNorDownStaysBehindAsErrorNumberOnSuccess) {
    Moving moving;
    mox_sim::Node node;
    node.number = 4;
    node.status = QZ_MOX_NODE_STATUS_UNDEF;
    moving.client.service.set(node);
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    EXPECT_EQ(70, hb_get_errno());
    mox_sim::Interface interface = moving.client.service.interfaces().back();
    interface.status = QZ_MOX_INTF_STATUS_UNDEF;
    moving.client.service.set(interface);
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    EXPECT_EQ(71, hb_get_errno());
}

ISOLATED_TEST(Moving, ACommitLeavesWhatItMetAsErrorNumber) {
    Moving moving;
    prepare_and_commit();
    EXPECT_EQ(73, hb_get_errno()) << "the daemon does not know node 3";
}

ISOLATED_TEST(Moving, ACommitThatCannotSignalIsError59AndKeepsItsEvents) {
    Moving moving;
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    {
        const Mute_Event_Pipe mute;
        EXPECT_EQ(Hb_Success, hb_migrate_to_mox_commit());
        EXPECT_EQ(59, hb_get_errno());
    }
    EXPECT_THAT(queued(), Contains(queued_marker()));
}

// ---- Short memory ----

ISOLATED_TEST(Moving, APreparationWithoutMemoryForItsTableIsError17AndKeepsTheHandlers) {
    Moving moving;
    int failures = 0;
    bool hit = true;
    for (int works = 0; hit && works < 50; ++works) {
        const Trace_Spy spy(1, 0, 0);
        set_hb_errno(777);
        Hb_Rc result = Hb_Success;
        {
            const Fault_Guard fault = failing_large_allocations(SIZE_OF_A_LIST, works);
            result = hb_migrate_to_mox_prep();
            hit = fault.hits() > 0;
        }
        EXPECT_EQ(9, ORBFSHandler::getNumbersOfFileDescriptors());
        EXPECT_EQ(hit ? Hb_Failure : Hb_Success, result);
        EXPECT_EQ(hit ? 17 : 777, hb_get_errno());
        if (hit) {
            ++failures;
            ASSERT_NE(nullptr, traced(spy, 17));
            EXPECT_THAT(traced(spy, 17)->values, ElementsAre(3));
        }
        Moving::expect_daemon_mode();
        EXPECT_EQ(0, moving.client.service.lists_out());
    }
    EXPECT_FALSE(hit);
    EXPECT_GE(failures, 2) << "the list of nodes and its index";
}

ISOLATED_TEST(Moving, ACommitWithoutMemoryForItsTableUsesThePreparedOne) {
    Moving moving;
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    {
        const Fault_Guard fault = failing_large_allocations(SIZE_OF_A_LIST);
        EXPECT_EQ(Hb_Success, hb_migrate_to_mox_commit());
        EXPECT_EQ(1, fault.hits());
        EXPECT_EQ(17, hb_get_errno());
    }
    EXPECT_TRUE(IsMOX);
    EXPECT_FALSE(migrate_to_mox_prep);
    EXPECT_EQ(9, ORBFSHandler::getNumbersOfFileDescriptors());
    EXPECT_THAT(moving.client.take_all(), Contains(of_nodes(JOIN, "n", {3})));
    EXPECT_EQ(4, Moving::nodes());
}

ISOLATED_TEST(Moving, ACommitWithoutMemoryForAnEventReportsTheDifferenceWithTheNextReading) {
    for (int works = 0; works < 3; ++works) {
        Moving moving;
        ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
        {
            const Fault_Guard fault = failing_large_allocations(SIZE_OF_AN_EVENT, works, -1);
            EXPECT_EQ(Hb_Success, hb_migrate_to_mox_commit());
            EXPECT_LE(1, fault.hits());
            EXPECT_EQ(17, hb_get_errno());
        }
        EXPECT_THAT(queued(), IsEmpty());
        EXPECT_EQ(3, Moving::nodes()) << "what was known stays";
        moving.client.service.push("cluster_reconfig", reconfiguration());
        EXPECT_THAT(moving.client.take_all(), Contains(of_nodes(JOIN, "n", {3})));
        EXPECT_EQ(4, Moving::nodes());
        ASSERT_EQ(Hb_Success, hb_terminate());
        IsMOX = false; // as in a new process
    }
}

// ---- Little room on the stack ----

// Runs the work in a thread whose stack is too small for a group record. The memory below it cannot be
// accessed.
void on_small_stack(const std::function<void()> &work) {
    constexpr std::size_t stack_size = 0x50000;
    constexpr std::size_t reserved = 0x400000;
    auto *memory = static_cast<char *>(
        mmap(nullptr, reserved, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    ASSERT_NE(MAP_FAILED, static_cast<void *>(memory));
    char *stack = memory + reserved - stack_size;
    ASSERT_EQ(0, mprotect(stack, stack_size, PROT_READ | PROT_WRITE));
    pthread_attr_t attributes;
    ASSERT_EQ(0, pthread_attr_init(&attributes));
    ASSERT_EQ(0, pthread_attr_setstack(&attributes, stack, stack_size));
    const auto run = [](void *given) -> void * {
        (*static_cast<const std::function<void()> *>(given))();
        return nullptr;
    };
    std::function<void()> copy = work;
    pthread_t thread{};
    ASSERT_EQ(0, pthread_create(&thread, &attributes, run, &copy));
    ASSERT_EQ(0, pthread_join(thread, nullptr));
    pthread_attr_destroy(&attributes);
    munmap(memory, reserved);
}

ISOLATED_TEST(Moving, NeedsNoRoomForAGroupRecordOnTheStack) {
    static_assert(sizeof(Hb_Group) > 390000);
    Moving moving;
    std::vector<Hb_Rc> results;
    on_small_stack([&] {
        results.push_back(hb_migrate_to_mox_prep());
        results.push_back(hb_migrate_to_mox_abort());
        results.push_back(hb_migrate_to_mox_prep());
        results.push_back(hb_migrate_to_mox_commit());
    });
    EXPECT_THAT(results, Each(Hb_Success));
    EXPECT_THAT(queued(), Contains(queued_marker()));
}

ISOLATED_TEST(Handlers, NeedNoRoomForAGroupRecordOnTheStack) {
    Cluster_Client client;
    client.open();
    char disk_monitor[] = "repos_disk";
    ORBFSRepositoryDiskHandler disk(disk_monitor);
    Handler_Call call;
    std::vector<Hb_Rc> results;
    const auto handle = [&](const char *monitor, const mox_sim::Event_Record &event, ORBFSHandler *handler) {
        client.service.push(monitor, event);
        on_small_stack([&] { results.push_back(call.run(handler)); });
    };
    const auto of_category = [](qz_orb_event_category_t category, qz_orb_event_type_t type) {
        mox_sim::Event_Record event = adapter_record(type, 2, "eth0");
        event.category = category;
        return event;
    };
    handle("adapter_liveness", adapter_record(QZ_ORB_EVENT_DOWN, 2, "eth0"), adapter_event_handler_p);
    handle("adapter_liveness", adapter_record(QZ_ORB_EVENT_ADD, 2, "eth0"), adapter_event_handler_p);
    handle("peer_gs_liveness", of_category(QZ_ORB_EVENT_CATEGORY_PROCESS_LIVENESS, QZ_ORB_EVENT_DOWN),
           peer_GS_liveness_handler_p);
    handle("ip_change", of_category(QZ_ORB_EVENT_CATEGORY_IP_CHANGE, QZ_ORB_ADDRESS_ADD), ip_change_handler_p);
    handle("repos_disk", of_category(QZ_ORB_EVENT_CATEGORY_REPOS_DISK, QZ_ORB_EVENT_UP), &disk);
    handle("site_cfg", of_category(QZ_ORB_EVENT_CATEGORY_SITE_CFG, QZ_ORB_SITE_DOWN), site_config_handler_p);
    client.service.node_down(3); // its event stays, and the service reports the death
    handle("node_liveness", node_record(QZ_ORB_EVENT_DOWN, 3), node_liveness_handler_p);
    client.service.remove_node(3);
    handle("node_list", of_category(QZ_ORB_EVENT_CATEGORY_NODE_LIST, QZ_ORB_EVENT_DELETE), node_list_handler_p);
    handle("cluster_reconfig", reconfiguration(), cluster_reconfig_handler_p);
    for (int i = 0; i < 20 && !queued().empty(); ++i) {
        on_small_stack([&] { results.push_back(call.run(event_pipe_handler_p)); });
    }
    EXPECT_THAT(queued(), IsEmpty());
    Hb_Subscription_Group all;
    hb_empty_subscription_group(&all);
    hb_add_all_adapters_to_subscription_group(&all);
    char name[] = "mine";
    on_small_stack([&] {
        results.push_back(hb_subscribe(name, &all, 7));
        results.push_back(call.run(new_group_event_handler_p));
    });
    EXPECT_EQ(4, call.events);
    EXPECT_THAT(results, Each(Hb_Success));
}

// ---- Abort ----

ISOLATED_TEST(Moving, AnAbortBeforeAnyPreparationChangesNothing) {
    Moving moving;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(Hb_Success, hb_migrate_to_mox_abort());
        EXPECT_EQ(777, hb_get_errno());
        EXPECT_FALSE(migrate_to_mox_prep);
        Moving::expect_daemon_mode();
    }
}

ISOLATED_TEST(Moving, AfterAnAbortAComparisonStillTellsAChangeOfTheConfiguration) {
    Moving moving;
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_abort());
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_abort()) << "again";
    EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
    Hb_Configuration_Internal built = {};
    ASSERT_EQ(Hb_Success, hb_mox_update_global_tbl(&built, nullptr, nullptr));
    char monitor[] = "cluster_reconfig";
    ORBFSConfigurationHandler handler(monitor);
    const auto changes = [&] {
        MOX_Event *slots[5] = {};
        handler.compare_global_config_tables(&built, &slots[0], &slots[1], &slots[2], &slots[3], &slots[4]);
        const int events = slots[2] != nullptr ? slots[2]->group.Hb_events : 0;
        for (const MOX_Event *made : slots) {
            delete made;
        }
        return events;
    };
    EXPECT_EQ(CONFIG, changes());
    migrate_to_mox_prep = false;
    EXPECT_EQ(0, changes());
    empty_global_config_table(&built);
}

// ---- A preparation in cluster-event mode ----

ISOLATED_TEST(Moving, APreparationOfAMovedLibraryWhoseQueryFailsLeavesLaterUpdatesToTheQueue) {
    Moving moving;
    prepare_and_commit();
    moving.client.take_all();
    moving.client.service.fail(Operation::get_node_info, -1, EIO);
    EXPECT_EQ(Hb_Failure, hb_migrate_to_mox_prep());
    EXPECT_EQ(64, hb_get_errno());
    EXPECT_EQ(9, ORBFSHandler::getNumbersOfFileDescriptors());
    EXPECT_TRUE(migrate_to_mox_prep);
    moving.client.service.heal(Operation::get_node_info);
    moving.client.service.remove_node(3);
    moving.client.service.push("cluster_reconfig", reconfiguration());
    Handler_Call call;
    EXPECT_EQ(Hb_Success, call.run(cluster_reconfig_handler_p));
    EXPECT_EQ(0, call.events);
    EXPECT_EQ("<EMPTY EVENT>", call.name);
    EXPECT_TRUE(call.group_is_untouched());
    EXPECT_THAT(queued(),
                ElementsAre(queued_adapters(DEATH, {144, 145}), queued_nodes(DEATH, {3}), queued_marker()));
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_commit()) << "which takes the flag back";
    EXPECT_FALSE(migrate_to_mox_prep);
}

// ---- Without a session ----

ISOLATED_TEST(Moving, ACommitOfAClosedLibraryWithoutADaemonLeavesItToBeOpenedOverTheService) {
    const Temp_Dir directory;
    const Environment_Guard nobody("HB_SERVER_SOCKET", directory.file("nobody"));
    Cluster_Client client;
    set_hb_errno(777);
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    EXPECT_EQ(15, hb_get_errno()) << "the daemon could not be reached";
    EXPECT_TRUE(IsMOX);
    EXPECT_FALSE(migrate_to_mox_prep);
    EXPECT_EQ(0, client_initialized);
    EXPECT_EQ(nullptr, client_socket);
    EXPECT_EQ(nullptr, client_select);
    EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
    EXPECT_THAT(queued(), IsEmpty());
    ASSERT_EQ(Hb_Success, hb_init());
    EXPECT_EQ(3, Moving::nodes());
}

} // namespace
} // namespace hb_test
