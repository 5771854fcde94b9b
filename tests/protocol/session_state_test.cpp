// SPDX-License-Identifier: Apache-2.0
// Which calls use a connection, and which open the library: after a failed opening, with a connection alone,
// and after hb_remove_socket.
#include <atomic>
#include <csignal>
#include <cstring>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "lib/mox/handlers/process_handlers.h"
#include "tests/protocol/calling_thread.h"
#include "tests/protocol/client.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/hb_communication.h"
#include "tests/support/hb_global_data.h"
#include "tests/support/isolated.h"
#include "tests/support/process_counters.h"

namespace hb_test {
namespace {

// A fake daemon maps its three segments in this process too.
constexpr int OF_A_DAEMON = 3;

Script serve(const Cluster_Facts &cluster) {
    return serve_configuration(snapshot(cluster));
}

Script serve_and_report_join() {
    Script script = serve(small_cluster());
    script.push_back(send_record(reply(3, adapter_body({{5, 9}}))));
    return script;
}

// Answers the configuration request with a record of another kind: error 10.
Script answer_wrongly() {
    return {read_record(), send_record(reply(12))};
}

Fake_Daemon_Plan plan_of(const std::vector<Script> &connections) {
    Fake_Daemon_Plan plan;
    plan.connections = connections;
    return plan;
}

Hb_Rc subscribe() {
    auto group = std::make_unique<Hb_Subscription_Group>();
    std::memset(group.get(), 0, sizeof *group);
    group->Hb_subscription_type = Hb_Node_Subscription;
    char name[] = "watch";
    return hb_subscribe(name, group.get(), HB_EVENT_DEATH);
}

int error_of(Hb_Rc result) {
    return result == Hb_Success ? 0 : hb_get_errno();
}

void expect_empty_table() {
    EXPECT_EQ(0, global_config_tbl.local_node_number);
    EXPECT_EQ(0, global_config_tbl.Hb_max_nodes);
    EXPECT_EQ(0, global_config_tbl.Hb_num_nodes);
    EXPECT_EQ(0, global_config_tbl.Hb_adapters_per_node);
    EXPECT_EQ(0, global_config_tbl.Hb_num_adapters);
    EXPECT_EQ(0, global_config_tbl.Hb_num_networks);
    EXPECT_EQ(nullptr, global_config_tbl.Hb_global_adapter_list);
    EXPECT_EQ(nullptr, global_config_tbl.node_list);
    EXPECT_EQ(nullptr, global_config_tbl.adap_hash);
    EXPECT_EQ(nullptr, global_config_tbl.ip_hash);
    EXPECT_EQ(nullptr, global_config_tbl.node_hash);
    for (const Hb_Network_Entry &network : global_config_tbl.Hb_global_network_list) {
        EXPECT_STREQ("", network.Hb_network_name);
        EXPECT_STREQ("", network.Hb_network_type);
    }
    EXPECT_EQ(0, global_num_nodes);
    for (int node = 0; node < 8; ++node) {
        EXPECT_EQ(Hb_False, global_node_tbl[node]) << node;
    }
}

// ---- After an opening that failed ----

ISOLATED_TEST(AFailedOpening, LeavesASocketThatNoOtherCallUses) {
    Fake_Daemon daemon(plan_of({answer_wrongly()}));
    EXPECT_EQ(10, error_of(hb_init()));
    ASSERT_NE(nullptr, client_socket) << "what was built is not undone";
    EXPECT_EQ(22, error_of(hb_send(HB_CLIENT_HEARTBEAT, nullptr, 0)));
    set_hb_errno(0);
    EXPECT_EQ(22, error_of(subscribe()));
    client_packet *packet = nullptr;
    EXPECT_EQ(12, error_of(hb_get_reply_from_server(HB_ROUTE, packet, nullptr)));
    EXPECT_EQ(80U, daemon.received().size()) << "nothing but the request for the configuration was sent";
}

ISOLATED_TEST(AFailedOpening, IsFollowedByAWholeOneInTheWaitForAnEvent) {
    Fake_Daemon daemon(plan_of({answer_wrongly(), serve_and_report_join()}));
    EXPECT_EQ(10, error_of(hb_init()));
    ASSERT_NE(nullptr, client_socket);
    Event_Call call;
    EXPECT_EQ(Hb_Success, call.take({60, 0})) << hb_get_errno();
    EXPECT_EQ(2, call.events);
    EXPECT_EQ(2, daemon.connections());
    EXPECT_EQ(1, client_initialized);
    EXPECT_EQ(5, global_config_tbl.Hb_num_adapters);
}

ISOLATED_TEST(AFailedOpening, InTheWaitForAnEventLeavesNothingAndIsTriedAgain) {
    Fake_Daemon daemon(plan_of({answer_wrongly(), answer_wrongly(), serve_and_report_join()}));
    Event_Call call;
    for (int attempt = 1; attempt <= 2; ++attempt) {
        set_hb_errno(0);
        EXPECT_EQ(Hb_Failure, call.take({60, 0}));
        EXPECT_EQ(10, hb_get_errno());
        EXPECT_EQ(nullptr, client_socket);
        EXPECT_EQ(0, client_initialized);
        EXPECT_EQ(OF_A_DAEMON, segment_mappings()) << "none of the library's";
        EXPECT_TRUE(daemon.wait_connections_ended(attempt));
    }
    EXPECT_EQ(Hb_Success, call.take({60, 0})) << hb_get_errno();
    EXPECT_EQ(2, call.events);
    EXPECT_EQ(3, daemon.connections());
}

ISOLATED_TEST(AFailedOpening, ForWantOfSegmentsIsTriedAgainByEveryWaitForAnEvent) {
    Fake_Daemon_Plan plan = plan_of({{}});
    plan.segments = no_segments();
    Fake_Daemon daemon(plan);
    Event_Call call;
    for (int attempt = 1; attempt <= 3; ++attempt) {
        set_hb_errno(0);
        EXPECT_EQ(Hb_Failure, call.take({60, 0}));
        EXPECT_EQ(33, hb_get_errno());
        EXPECT_EQ(nullptr, client_socket);
        EXPECT_TRUE(daemon.wait_connections_ended(attempt));
    }
    EXPECT_EQ(Event_Call::NO_EVENT, call.events);
}

// ---- A connection made by hb_init_communication alone ----

ISOLATED_TEST(AConnectionAlone, CarriesSubscriptionsAndEventsWithoutAConfiguration) {
    Fake_Daemon daemon(plan_of({{send_record(reply(12))}}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    EXPECT_EQ(Hb_Session_State::half_open, hb_session_state());
    EXPECT_EQ(0, error_of(subscribe()));
    Event_Call call;
    EXPECT_EQ(Hb_Success, call.take({60, 0})) << hb_get_errno();
    EXPECT_EQ(8, call.events);
    EXPECT_EQ(12428U, daemon.wait_received(12428).size()) << "the subscription alone";
    EXPECT_EQ(1, daemon.connections());
    EXPECT_EQ(0, client_initialized);
    EXPECT_EQ(Hb_Success, hb_remove_socket());
    EXPECT_EQ(22, error_of(subscribe()));
    EXPECT_EQ(Hb_Session_State::closed, hb_session_state());
}

ISOLATED_TEST(AConnectionAlone, OnAnOpenLibraryKeepsNoOldTable) {
    Cluster_Facts other = small_cluster();
    other.local_node = 4;
    Fake_Daemon daemon(plan_of({serve(small_cluster()), {}, serve(other)}));
    open_library();
    EXPECT_EQ(Hb_Success, hb_init_communication());
    EXPECT_EQ(Hb_Session_State::half_open, hb_session_state());
    expect_empty_table();
    EXPECT_EQ(0, error_of(subscribe()));
    Hb_Node_Number node = -1;
    EXPECT_EQ(Hb_Success, hb_get_my_node_number(&node));
    EXPECT_EQ(4, node);
    EXPECT_EQ(3, daemon.connections());
}

ISOLATED_TEST(AConnectionAlone, OnAnOpenLibraryIsClosedByTerminatingWithTheSession) {
    Fake_Daemon daemon(plan_of({serve(small_cluster()), {}}));
    open_library();
    orbfs_cluster_name = new char[2]{'c', '\0'}; // deleted with the handlers
    ASSERT_EQ(Hb_Success, hb_init_communication());
    EXPECT_EQ(Hb_Success, hb_terminate());
    EXPECT_EQ(nullptr, orbfs_cluster_name);
    EXPECT_EQ(nullptr, client_socket);
    EXPECT_EQ(Hb_Session_State::closed, hb_session_state());
    EXPECT_TRUE(daemon.wait_connections_ended(2));
    EXPECT_EQ(22, error_of(subscribe()));
}

ISOLATED_TEST(AConnectionAlone, OnAClosedLibraryStaysWhenTerminating) {
    Fake_Daemon daemon(plan_of({serve(small_cluster()), {}, {}}));
    ASSERT_EQ(Hb_Success, hb_init_communication());
    EXPECT_EQ(Hb_Success, hb_terminate());
    EXPECT_EQ(Hb_Session_State::half_open, hb_session_state());
    EXPECT_EQ(0, error_of(subscribe()));
}

ISOLATED_TEST(AConnectionAlone, AfterASessionWasTerminatedStaysWhenTerminatingAgain) {
    Fake_Daemon daemon(plan_of({serve(small_cluster()), {}, {}}));
    open_library();
    ASSERT_EQ(Hb_Success, hb_init_communication());
    ASSERT_EQ(Hb_Success, hb_terminate());
    ASSERT_EQ(Hb_Success, hb_init_communication());
    EXPECT_EQ(Hb_Success, hb_terminate());
    EXPECT_EQ(Hb_Session_State::half_open, hb_session_state());
    EXPECT_EQ(0, error_of(subscribe()));
}

ISOLATED_TEST(AConnectionAlone, OnAnOpenLibraryThatCannotBeMadeLeavesTheHandlersToTerminating) {
    Fake_Daemon daemon;
    open_library();
    orbfs_cluster_name = new char[2]{'c', '\0'};
    daemon.stop_listening();
    EXPECT_EQ(15, error_of(hb_init_communication()));
    EXPECT_NE(nullptr, orbfs_cluster_name);
    EXPECT_EQ(Hb_Success, hb_terminate());
    EXPECT_EQ(nullptr, orbfs_cluster_name);
}

// ---- An open library whose socket was removed ----

ISOLATED_TEST(ARemovedSocket, LeavesTheLibraryOpenAndItsTableAnswering) {
    Fake_Daemon daemon;
    open_library();
    EXPECT_EQ(Hb_Success, hb_remove_socket());
    EXPECT_EQ(1, client_initialized);
    EXPECT_EQ(Hb_Success, hb_init());
    Hb_Node_Number node = -1;
    EXPECT_EQ(Hb_Success, hb_get_my_node_number(&node));
    EXPECT_EQ(1, node);
    EXPECT_EQ(22, error_of(subscribe()));
    EXPECT_EQ(1, daemon.connections());
}

// The second daemon has another cluster and other segments.
void expect_all_of_the_second_daemon(const std::function<void()> &call) {
    Fake_Daemon first;
    open_library();
    ASSERT_EQ(8U, data_for_client->number_of_nodes);
    EXPECT_EQ(Hb_Success, hb_remove_socket());
    Cluster_Facts cluster = small_cluster();
    cluster.local_node = 4;
    cluster.adapters.pop_back();
    cluster.networks.pop_back();
    ASSERT_EQ(1U, cluster.networks.size());
    cluster.max_nodes = 16;
    Fake_Daemon_Plan plan;
    plan.connections = {serve(cluster)};
    plan.connections.front().push_back(send_record(reply(12)));
    plan.segments = segments_for(16, 4);
    Fake_Daemon second(plan);
    call();
    EXPECT_EQ(1, second.connections());
    EXPECT_EQ(1, first.connections());
    EXPECT_EQ(1, client_initialized);
    EXPECT_EQ(16U, data_for_client->number_of_nodes);
    EXPECT_EQ(16U, hb_attached_route_slots());
    EXPECT_EQ(2 * OF_A_DAEMON + 3, segment_mappings()) << "the library's of the first daemon are detached";
    Hb_Node_Number node = -1;
    EXPECT_EQ(Hb_Success, hb_get_my_node_number(&node));
    EXPECT_EQ(4, node);
    EXPECT_EQ(16, global_config_tbl.Hb_max_nodes);
    EXPECT_EQ(4, global_config_tbl.Hb_num_adapters);
    char name[HB_NETWORK_NAME_SIZE] = {};
    EXPECT_EQ(8, error_of(hb_get_network_name_by_number(1, name))) << "the first daemon's alone";
    EXPECT_STREQ("", global_config_tbl.Hb_global_network_list[1].Hb_network_type);
}

ISOLATED_TEST(ARemovedSocket, IsFollowedByAWholeOpeningInTheDescriptorArray) {
    expect_all_of_the_second_daemon([] {
        int *descriptors = nullptr;
        int count = 0;
        ASSERT_EQ(Hb_Success, hb_get_file_descriptor_array(&descriptors, &count)) << hb_get_errno();
        EXPECT_EQ(Hb_Success, hb_free_file_descriptor_array(descriptors));
    });
}

ISOLATED_TEST(ARemovedSocket, IsFollowedByAWholeOpeningInTheWaitForAnEvent) {
    expect_all_of_the_second_daemon([] {
        Event_Call call;
        EXPECT_EQ(Hb_Success, call.take({60, 0})) << hb_get_errno();
        EXPECT_EQ(8, call.events);
    });
}

ISOLATED_TEST(ARemovedSocket, AndAFailedReopeningLeaveTheLibraryClosedAndItsTableEmpty) {
    Fake_Daemon daemon(plan_of({serve(small_cluster()), answer_wrongly(), serve(small_cluster())}));
    open_library();
    EXPECT_EQ(Hb_Success, hb_remove_socket());
    int *descriptors = nullptr;
    int count = 0;
    EXPECT_EQ(10, error_of(hb_get_file_descriptor_array(&descriptors, &count)));
    EXPECT_EQ(nullptr, client_socket);
    EXPECT_EQ(0, client_initialized);
    EXPECT_EQ(OF_A_DAEMON, segment_mappings()) << "none of the library's";
    expect_empty_table();
    EXPECT_EQ(Hb_Success, hb_get_file_descriptor_array(&descriptors, &count));
    EXPECT_EQ(Hb_Success, hb_free_file_descriptor_array(descriptors));
    EXPECT_EQ(3, daemon.connections());
}

ISOLATED_TEST(ARemovedSocket, DoesNotKeepTheHandlersFromBeingDeletedByTerminating) {
    Fake_Daemon daemon;
    open_library();
    orbfs_cluster_name = new char[2]{'c', '\0'}; // deleted with the handlers
    EXPECT_EQ(Hb_Success, hb_remove_socket());
    EXPECT_EQ(Hb_Success, hb_terminate());
    EXPECT_EQ(nullptr, orbfs_cluster_name);
    EXPECT_EQ(0, client_initialized);
}

// ---- A failed re-opening ----

void expect_emptied_by_reopening_with(int error, Fake_Daemon &daemon, const std::function<void()> &trouble) {
    open_library();
    EXPECT_EQ(3, global_num_nodes);
    EXPECT_EQ(Hb_Success, hb_terminate());
    ASSERT_TRUE(daemon.wait_connections_ended(1));
    trouble();
    set_hb_errno(0);
    EXPECT_EQ(error, error_of(hb_init()));
    expect_empty_table();
}

ISOLATED_TEST(AFailedReopening, WithoutADaemonLeavesAnEmptyTable) {
    Fake_Daemon daemon;
    expect_emptied_by_reopening_with(15, daemon, [&] { daemon.stop_listening(); });
}

ISOLATED_TEST(AFailedReopening, WithoutSegmentsLeavesAnEmptyTable) {
    Fake_Daemon daemon(plan_of({serve(small_cluster()), {}}));
    expect_emptied_by_reopening_with(33, daemon, [&] {
        hb_detach_shared_memory();
        daemon.segments().remove_configuration();
    });
}

ISOLATED_TEST(AFailedReopening, WithAnotherReplyLeavesAnEmptyTable) {
    Fake_Daemon daemon(plan_of({serve(small_cluster()), answer_wrongly()}));
    expect_emptied_by_reopening_with(10, daemon, [] {});
}

ISOLATED_TEST(AFailedReopening, WithADaemonThatDiesLeavesAnEmptyTable) {
    Fake_Daemon daemon(plan_of({serve(small_cluster()), {read_record(), hang_up()}}));
    expect_emptied_by_reopening_with(16, daemon, [] {});
}

ISOLATED_TEST(AFailedReopening, OnAServiceThatIsNotThereLeavesAnEmptyTable) {
    Fake_Daemon daemon;
    expect_emptied_by_reopening_with(63, daemon, [] { IsMOX = true; });
}

// ---- A preparation ----

ISOLATED_TEST(APreparation, OnALibraryThatIsNotOpenFailsAndMakesNoHandlers) {
    Fake_Daemon daemon;
    EXPECT_EQ(22, error_of(hb_migrate_to_mox_prep()));
    EXPECT_EQ(nullptr, adapter_event_handler_p);
    EXPECT_EQ(0, daemon.connections()) << "it does not open the library";
    ASSERT_EQ(Hb_Success, hb_init_communication());
    set_hb_errno(0);
    EXPECT_EQ(22, error_of(hb_migrate_to_mox_prep())) << "a connection alone has no table to compare";
}

// ---- A fork while another thread opens ----

// Runs the body in a forked child for at most a minute. Returns its exit status; -1 for a signal.
int status_of_child(const std::function<int()> &body) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        _exit(body());
    }
    int status = 0;
    EXPECT_EQ(child, waitpid(child, &status, 0));
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

ISOLATED_TEST(AFork, WhileAnotherThreadOpensLeavesTheChildFreeToTry) {
    Fake_Daemon daemon(plan_of({{read_record()}}));
    Calling_Thread opener([] { hb_init(); });
    EXPECT_EQ(80U, daemon.wait_received(80).size());
    EXPECT_TRUE(opener.wait_asleep());
    const int status = status_of_child([] {
        setenv("HB_SERVER_SOCKET", "/nobody/listens/here", 1);
        return hb_init() == Hb_Success ? 0 : hb_get_errno();
    });
    EXPECT_EQ(15, status);
}

ISOLATED_TEST(AFork, OfABusyProgramLeavesNoLockHeldInTheChild) {
    ASSERT_EQ(Hb_Success, hb_remove_socket());
    std::atomic<bool> is_over{false};
    std::thread busy([&is_over] {
        while (!is_over) {
            hb_remove_socket();
        }
    });
    // A fork may happen at any point of the other thread's locking and unlocking.
    for (int i = 0; i < 1000 && !testing::Test::HasFailure(); ++i) {
        EXPECT_EQ(2, status_of_child([] {
                      alarm(10);
                      return static_cast<int>(hb_remove_socket());
                  }))
            << "fork " << i;
    }
    is_over = true;
    busy.join();
}

} // namespace
} // namespace hb_test
