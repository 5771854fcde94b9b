// SPDX-License-Identifier: Apache-2.0
// The migration from the daemon to the cluster service, from every state in which the three calls can be made.
#include <cerrno>
#include <csignal>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/api/MOX_migration.h"
#include "lib/api/session.h"
#include "lib/base/error_number.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/hb_global_data/working_table.h"
#include "lib/mox/handlers/process_handlers.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/isolated.h"
#include "tests/support/process_counters.h"
#include "tests/unit/cluster_events/cluster.h"
#include "tests/unit/mox_handlers/handler_call.h"
#include "tests/unit/mox_handlers/moving.h"

namespace hb_test {
namespace {

using mox_sim::Operation;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

// ---- Prepare ----

ISOLATED_TEST(Moving, APreparationLeavesTheDaemonsSessionAsItWas) {
    Moving moving;
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    EXPECT_TRUE(migrate_to_mox_prep);
    EXPECT_EQ(777, hb_get_errno());
    Moving::expect_daemon_mode();
    EXPECT_EQ(9, ORBFSHandler::getNumbersOfFileDescriptors());
    EXPECT_EQ(MOX_Working_Table::none, MOX_working_table());
    EXPECT_THAT(queued(), IsEmpty());
    EXPECT_EQ(0, moving.client.service.lists_out());
}

ISOLATED_TEST(Moving, APreparationThatFailsLeavesTheDaemonsSessionAsItWas) {
    for (const bool other_local_node : {true, false}) {
        Moving moving;
        if (other_local_node) {
            moving.client.service.set_cluster("small", 2);
        } else {
            moving.client.service.remove_node(4);
        }
        const Trace_Spy spy(1, 0, 0);
        EXPECT_EQ(Hb_Failure, hb_migrate_to_mox_prep());
        EXPECT_EQ(other_local_node ? 777 : 75, hb_get_errno());
        EXPECT_TRUE(migrate_to_mox_prep);
        EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
        EXPECT_THAT(traced_ids(spy), Contains(other_local_node ? 18U : 19U));
        if (other_local_node) {
            EXPECT_THAT(traced(spy, 18)->values, ElementsAre(1, 2));
        } else {
            EXPECT_THAT(traced(spy, 96)->values, ElementsAre(4));
        }
        Moving::expect_daemon_mode();
    }
}

ISOLATED_TEST(Moving, APreparationWithoutItsHandlersIsError74) {
    Moving moving;
    moving.client.service.fail(Operation::open_monitor, -1, EMFILE, 3);
    const Trace_Spy spy(1, 0, 0);
    EXPECT_FALSE(migrate_to_mox_prep);
    EXPECT_EQ(Hb_Failure, hb_migrate_to_mox_prep());
    EXPECT_EQ(74, hb_get_errno());
    EXPECT_TRUE(migrate_to_mox_prep) << "set first";
    ASSERT_NE(nullptr, traced(spy, 16));
    EXPECT_THAT(traced(spy, 16)->values, ElementsAre(3, 74));
    EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
    Moving::expect_daemon_mode();
}

ISOLATED_TEST(Moving, APreparationWhoseQueryFailsKeepsTheHandlersUntilItIsAbortedOrMadeAgain) {
    Moving moving;
    const std::pair<Operation, int> cases[] = {{Operation::get_node_info, 64},
                                               {Operation::get_net_intf_info, 65}};
    for (const auto &[operation, number] : cases) {
        moving.client.service.fail(operation, -1, EIO);
        const Trace_Spy spy(1, 0, 0);
        EXPECT_EQ(Hb_Failure, hb_migrate_to_mox_prep());
        EXPECT_EQ(number, hb_get_errno());
        ASSERT_NE(nullptr, traced(spy, 17));
        EXPECT_THAT(traced(spy, 17)->values, ElementsAre(3));
        EXPECT_EQ(9, ORBFSHandler::getNumbersOfFileDescriptors());
        moving.client.service.heal(operation);
        Moving::expect_daemon_mode();
    }
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    EXPECT_EQ(9, ORBFSHandler::getNumbersOfFileDescriptors());
    EXPECT_EQ(7, moving.client.service.monitors_opened()) << "the handlers were kept";
}

ISOLATED_TEST(Moving, BeforeTheLibraryIsOpenFailsAndMakesNoHandlers) {
    mox_sim::Simulated_Service service;
    fill_small_cluster(service);
    set_hb_errno(777);
    EXPECT_EQ(Hb_Failure, hb_migrate_to_mox_prep());
    EXPECT_EQ(22, hb_get_errno());
    EXPECT_EQ(0, client_initialized);
    EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
    EXPECT_EQ(0, service.monitors_opened());
}

// ---- Abort ----

ISOLATED_TEST(Moving, AnAbortedPreparationCanBeMadeAgainAndCommitted) {
    Moving moving;
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
        ASSERT_EQ(Hb_Success, hb_migrate_to_mox_abort());
        EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
        EXPECT_TRUE(migrate_to_mox_prep);
        Moving::expect_daemon_mode();
    }
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    EXPECT_EQ(of_configuration(), moving.client.take());
    EXPECT_EQ(4, Moving::nodes());
}

ISOLATED_TEST(Moving, AThousandAbortedPreparationsLeaveNothingBehind) {
    Moving moving;
    const auto prepare_and_abort = [] {
        ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
        ASSERT_EQ(Hb_Success, hb_migrate_to_mox_abort());
    };
    for (int i = 0; i < 20; ++i) {
        prepare_and_abort();
    }
    const int descriptors = open_descriptors();
    const int threads = running_threads();
    const std::size_t bytes = allocated_bytes();
    for (int i = 0; i < 1000; ++i) {
        prepare_and_abort();
    }
    EXPECT_EQ(descriptors, open_descriptors());
    EXPECT_EQ(threads, running_threads());
    EXPECT_LT(allocated_bytes(), bytes + 9000 * sizeof(FDHandlerArray) + 8000);
}

// ---- Commit ----

ISOLATED_TEST(Moving, ACommitQueuesWhatTheTwoTellDifferently) {
    Moving moving;
    moving.client.service.remove_interface(1, "eth1");
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    EXPECT_TRUE(IsMOX);
    EXPECT_FALSE(migrate_to_mox_prep);
    EXPECT_EQ(nullptr, client_socket);
    EXPECT_EQ(nullptr, client_select);
    // Of the daemon's adapters 2 to 5 and 8 the first three were up; the service has no eth1 of node 1.
    EXPECT_THAT(queued(), ElementsAre(queued_adapters(DEATH, {3}), queued_marker(), queued_nodes(JOIN, {3}),
                                      queued_adapters(JOIN, {97, 144, 145})));
    EXPECT_TRUE(moving.daemon.wait_connections_ended(1));
    const std::vector<Bytes> records = moving.daemon.received_records();
    ASSERT_EQ(2U, records.size());
    EXPECT_TRUE(same_bytes(request(227, getpid()), records[1]));
}

ISOLATED_TEST(Moving, EventsQueuedBeforeTheCommitComeFirst) {
    Moving moving;
    moving.client.service.remove_interface(1, "eth1");
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    MOX_Event *earlier = nullptr;
    event_pipe_handler_p->constructNodeEvent(2, &earlier, JOIN);
    ASSERT_NE(nullptr, earlier);
    MOX_add_event_at_end(earlier);
    Moving::expect_daemon_mode();
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    const std::vector<Taken> all = moving.client.take_all();
    ASSERT_GE(all.size(), 5U);
    EXPECT_EQ(of_nodes(JOIN, "n", {2}), all[0]);
    EXPECT_EQ(of_adapters(DEATH, "a", {3}), all[1]);
    EXPECT_EQ(of_configuration(), all[2]);
    EXPECT_EQ(of_nodes(JOIN, "n", {3}), all[3]);
    EXPECT_EQ(of_adapters(JOIN, "a", {97, 144, 145}), all[4]);
}

ISOLATED_TEST(Moving, ADaemonThatDiedBetweenPreparationAndCommitDoesNotStopIt) {
    Moving moving;
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    moving.daemon.run(hang_up());
    ASSERT_TRUE(moving.daemon.wait_connections_ended(1));
    struct sigaction usual = {};
    ASSERT_EQ(0, sigaction(SIGPIPE, nullptr, &usual));
    ASSERT_EQ(SIG_DFL, usual.sa_handler) << "the signal would end this process";
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    sigset_t signals;
    ASSERT_EQ(0, sigpending(&signals));
    EXPECT_EQ(0, sigismember(&signals, SIGPIPE));
    ASSERT_EQ(0, pthread_sigmask(SIG_SETMASK, nullptr, &signals));
    EXPECT_EQ(0, sigismember(&signals, SIGPIPE)) << "and is not left blocked";
    EXPECT_TRUE(IsMOX);
    EXPECT_THAT(moving.client.take_all(), Contains(of_configuration()));
    EXPECT_EQ(4, Moving::nodes());
}

ISOLATED_TEST(Moving, ASignalThatWasPendingAndBlockedBeforeTheCommitStaysSo) {
    Moving moving;
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    moving.daemon.run(hang_up());
    ASSERT_TRUE(moving.daemon.wait_connections_ended(1));
    sigset_t pipe_signal;
    sigemptyset(&pipe_signal);
    sigaddset(&pipe_signal, SIGPIPE);
    ASSERT_EQ(0, pthread_sigmask(SIG_BLOCK, &pipe_signal, nullptr));
    ASSERT_EQ(0, raise(SIGPIPE));
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    sigset_t signals;
    ASSERT_EQ(0, sigpending(&signals));
    EXPECT_EQ(1, sigismember(&signals, SIGPIPE));
    ASSERT_EQ(0, pthread_sigmask(SIG_SETMASK, nullptr, &signals));
    EXPECT_EQ(1, sigismember(&signals, SIGPIPE));
}

ISOLATED_TEST(Moving, ASecondCommitSucceedsAndLosesNoEvent) {
    Moving moving;
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    moving.client.take_all();
    moving.client.service.remove_node(3);
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    EXPECT_FALSE(migrate_to_mox_prep);
    EXPECT_THAT(moving.client.take_all(), ElementsAre(of_adapters(DEATH, "a", {144, 145}),
                                                      of_nodes(DEATH, "n", {3}), of_configuration()));
    EXPECT_EQ(1, moving.daemon.connections()) << "no daemon is asked again";
}

ISOLATED_TEST(Moving, ACommitThatFindsOtherStatesOnlyLosesNothingThatFollows) {
    Moving moving;
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    moving.client.take_all();
    mox_sim::Interface interface = moving.client.service.interfaces().back();
    const unsigned number = interface.node * 48 + 1;
    ASSERT_EQ("eth1", interface.name);
    interface.status = QZ_MOX_INTF_STATUS_DOWN; // its event has not arrived yet
    moving.client.service.set(interface);
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    EXPECT_THAT(moving.client.take_all(), ElementsAre(of_adapters(DEATH, "a", {number}), of_configuration()));
    moving.client.service.interface_up(interface.node, "eth1");
    EXPECT_THAT(moving.client.take_all(), ElementsAre(of_adapters(JOIN, "a", {number})));
}

ISOLATED_TEST(Moving, AfterAnAbortACommitHasNobodyToTellEventsUntilOneIsPrepared) {
    Moving moving;
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_abort());
    EXPECT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    EXPECT_TRUE(IsMOX);
    EXPECT_FALSE(migrate_to_mox_prep);
    EXPECT_THAT(queued(), IsEmpty());
    EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    EXPECT_THAT(moving.client.take_all(), Contains(of_configuration()));
    EXPECT_EQ(4, Moving::nodes());
}

ISOLATED_TEST(Moving, TheTableStepWithoutHandlersDoesNothing) {
    Moving moving;
    hb_migrate_construct_global_table_and_events();
    EXPECT_THAT(queued(), IsEmpty());
    EXPECT_EQ(MOX_Working_Table::none, MOX_working_table());
}

// ---- Afterwards ----

ISOLATED_TEST(Moving, SubscriptionsMadeWithTheDaemonGoOnUnderTheirNames) {
    Moving moving;
    Hb_Subscription_Group all;
    hb_empty_subscription_group(&all);
    hb_add_all_nodes_to_subscription_group(&all);
    char name[] = "mine";
    ASSERT_EQ(Hb_Success, hb_subscribe(name, &all, 7));
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    EXPECT_THAT(moving.client.take_all(), Contains(of_nodes(JOIN, "mine", {3})));
    ASSERT_EQ(Hb_Success, hb_subscribe(name, &all, 7));
    EXPECT_EQ(of_nodes(4, "mine", {1, 2, 3, 4}), moving.client.take());
    EXPECT_EQ(Hb_Success, hb_unsubscribe(name));
    EXPECT_STREQ("", nodeEventSubscriptionName);
    EXPECT_STREQ("a", networkEventSubscriptionName);
}

ISOLATED_TEST(Moving, ATerminatedLibraryOpensOverTheServiceAndCanPrepareAndCommitAnew) {
    Moving moving;
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    moving.client.take_all();
    ASSERT_EQ(Hb_Success, hb_terminate());
    EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
    ASSERT_EQ(Hb_Success, hb_init());
    EXPECT_EQ(1, moving.daemon.connections()) << "the daemon is left alone";
    EXPECT_EQ(4, Moving::nodes());
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    hb_set_name(networkEventSubscriptionName, "a");
    EXPECT_THAT(moving.client.take_all(), ElementsAre(of_configuration()));
    moving.client.service.interface_down(2, "eth0");
    EXPECT_EQ(of_adapters(DEATH, "a", {96}), moving.client.take());
}

ISOLATED_TEST(Moving, AnEventIsErrorEightyOneWhereTheQueueHasEventsAndNobodyDelivers) {
    Moving moving;
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
    ASSERT_EQ(Hb_Success, hb_migrate_to_mox_abort());
    int descriptors[] = {0, -1};
    int events = 0;
    Hb_Name name = {};
    unsigned long sequence = 0;
    EXPECT_EQ(Hb_Failure,
              hb_get_event_message(descriptors, nullptr, &events, name, moving.client.group.get(), &sequence));
    EXPECT_EQ(81, hb_get_errno());
    EXPECT_FALSE(queued().empty()) << "they stay";
}

ISOLATED_TEST(Moving, AThousandMigrationsLeaveNothingBehind) {
    Fake_Daemon daemon;
    Cluster_Client client;
    mox_sim::Node node;
    node.number = 4;
    client.service.set(node);
    int connections = 0;
    const auto migrate = [&] {
        ASSERT_EQ(Hb_Success, hb_init());
        ASSERT_EQ(Hb_Success, hb_migrate_to_mox_prep());
        ASSERT_EQ(Hb_Success, hb_migrate_to_mox_commit());
        ASSERT_FALSE(client.take_all().empty());
        ASSERT_EQ(Hb_Success, hb_terminate());
        ASSERT_TRUE(daemon.wait_connections_ended(++connections));
        daemon.forget_received();
        IsMOX = false; // as in a new process
    };
    for (int i = 0; i < 20 && !testing::Test::HasFailure(); ++i) {
        migrate();
    }
    const int descriptors = open_descriptors();
    const int mappings = segment_mappings();
    const int threads = running_threads();
    const std::size_t bytes = allocated_bytes();
    for (int i = 0; i < 1000 && !testing::Test::HasFailure(); ++i) {
        migrate();
    }
    EXPECT_EQ(descriptors, open_descriptors());
    EXPECT_EQ(mappings, segment_mappings());
    EXPECT_EQ(threads, running_threads());
    EXPECT_LT(allocated_bytes(), bytes + 9000 * sizeof(FDHandlerArray) + 20000);
}

} // namespace
} // namespace hb_test
