// SPDX-License-Identifier: Apache-2.0
// Opening and closing the library.
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <pthread.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/protocol/client.h"
#include "tests/support/deadline.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/faults.h"
#include "tests/support/hb_communication.h"
#include "tests/support/hb_global_data.h"
#include "tests/support/isolated.h"
#include "tests/support/process_counters.h"
#include "tests/support/temp_dir.h"

namespace hb_test {
namespace {

// Sets the three variables while the object exists.
class Variables {
  public:
    Variables(const std::optional<std::string> &socket, const std::optional<std::string> &domain,
              const std::optional<std::string> &partition)
        : socket_("HB_SERVER_SOCKET", socket), domain_("HA_DOMAIN_NAME", domain),
          partition_("HA_SYSPAR_NAME", partition) {}

  private:
    Environment_Guard socket_, domain_, partition_;
};

Fake_Daemon_Plan named(const std::string &socket_name) {
    Fake_Daemon_Plan plan;
    plan.socket_name = socket_name;
    plan.set_environment = false;
    return plan;
}

// ---- Opening ----

ISOLATED_TEST(Session, OpensByAskingForTheConfiguration) {
    Fake_Daemon daemon;
    EXPECT_EQ(0, client_initialized);
    EXPECT_EQ(nullptr, client_socket);
    EXPECT_EQ(nullptr, client_select);
    EXPECT_EQ(Hb_Success, hb_init());
    EXPECT_EQ(1, client_initialized);
    ASSERT_NE(nullptr, client_socket);
    EXPECT_NE(nullptr, client_select);
    EXPECT_EQ(getpid(), client_pid);
    EXPECT_EQ(5, global_config_tbl.Hb_num_adapters);
    EXPECT_EQ(3, global_num_nodes);
    EXPECT_TRUE(same_bytes(frame(request(201, getpid())), daemon.received()));
}

ISOLATED_TEST(Session, OpeningTwiceSucceedsWithoutTouchingTheSocket) {
    Fake_Daemon daemon;
    open_library();
    const Hb_Csock *connection = client_socket;
    const int descriptor = client_socket->socket();
    const Call_Log log;
    EXPECT_EQ(Hb_Success, hb_init());
    EXPECT_EQ(connection, client_socket);
    EXPECT_EQ(descriptor, client_socket->socket());
    EXPECT_TRUE(log.calls(Call::socket_).empty());
    EXPECT_TRUE(log.calls(Call::writev_).empty());
    EXPECT_TRUE(log.calls(Call::read_).empty());
    EXPECT_EQ(1, daemon.connections());
}

ISOLATED_TEST(Session, AnEntryOpensTheLibraryByItself) {
    Fake_Daemon daemon;
    Hb_Node_Number node = -5;
    EXPECT_EQ(Hb_Success, hb_get_my_node_number(&node));
    EXPECT_EQ(1, node);
    EXPECT_EQ(1, client_initialized);
}

ISOLATED_TEST(Session, AnEntryThatCannotOpenFailsWithThatErrorAndWritesNothing) {
    Fake_Daemon daemon;
    daemon.stop_listening();
    Hb_Node_Number node = -5;
    EXPECT_EQ(Hb_Failure, hb_get_my_node_number(&node));
    EXPECT_EQ(-5, node);
    EXPECT_EQ(15, hb_get_errno());
}

ISOLATED_TEST(Session, ClearsAllThreeSubscriptionNamesWhole) {
    Fake_Daemon daemon;
    std::memset(nodeEventSubscriptionName, 'x', 32);
    std::memset(networkEventSubscriptionName, 'y', 32);
    std::memset(siteEventSubscriptionName, 'z', 32);
    open_library();
    EXPECT_EQ(Bytes().zeros(32), bytes_of(nodeEventSubscriptionName));
    EXPECT_EQ(Bytes().zeros(32), bytes_of(networkEventSubscriptionName));
    EXPECT_EQ(Bytes().zeros(32), bytes_of(siteEventSubscriptionName));
}

ISOLATED_TEST(Session, TheNamesAreClearedAlsoWhenOpeningFails) {
    Fake_Daemon daemon;
    daemon.stop_listening();
    std::memset(siteEventSubscriptionName, 'z', 32);
    EXPECT_EQ(Hb_Failure, hb_init());
    EXPECT_EQ(Bytes().zeros(32), bytes_of(siteEventSubscriptionName));
}

ISOLATED_TEST(Session, ChangesNoSignalDispositionAndStartsNoThread) {
    Fake_Daemon daemon;
    std::array<struct sigaction, 65> before{};
    for (int signal = 1; signal <= 64; ++signal) {
        sigaction(signal, nullptr, &before.at(static_cast<std::size_t>(signal)));
    }
    const int threads = running_threads();
    open_library();
    EXPECT_EQ(threads, running_threads());
    EXPECT_EQ(Hb_Success, hb_terminate());
    for (int signal = 1; signal <= 64; ++signal) {
        struct sigaction now {};
        sigaction(signal, nullptr, &now);
        EXPECT_EQ(before.at(static_cast<std::size_t>(signal)).sa_handler, now.sa_handler) << signal;
    }
}

// ---- The socket's path ----

ISOLATED_TEST(SocketPath, IsTheDefaultWithoutAnyVariable) {
    const Variables none(std::nullopt, std::nullopt, std::nullopt);
    EXPECT_STREQ("/var/ha/soc/wisp/server_socket", HB_SERVER_SOCKET);
    EXPECT_TRUE(hb_resolve_socket_path());
    EXPECT_STREQ("/var/ha/soc/wisp/server_socket", SERVER_SOCK_FNAME);
}

ISOLATED_TEST(SocketPath, TheDefaultTakesASuffixToo) {
    const Variables domain(std::nullopt, "dom", std::nullopt);
    EXPECT_TRUE(hb_resolve_socket_path());
    EXPECT_STREQ("/var/ha/soc/wisp/server_socket.dom", SERVER_SOCK_FNAME);
    EXPECT_STREQ("/var/ha/soc/wisp/server_socket", HB_SERVER_SOCKET);
}

ISOLATED_TEST(SocketPath, TheVariableReplacesTheBase) {
    const Variables base("/tmp/s", "d", std::nullopt);
    EXPECT_TRUE(hb_resolve_socket_path());
    EXPECT_STREQ("/tmp/s", HB_SERVER_SOCKET);
    EXPECT_STREQ("/tmp/s.d", SERVER_SOCK_FNAME);
}

ISOLATED_TEST(SocketPath, TheBaseStaysReplacedWhenTheVariableGoes) {
    {
        const Variables base("/tmp/s", std::nullopt, std::nullopt);
        EXPECT_TRUE(hb_resolve_socket_path());
    }
    const Variables none(std::nullopt, std::nullopt, std::nullopt);
    EXPECT_TRUE(hb_resolve_socket_path());
    EXPECT_STREQ("/tmp/s", SERVER_SOCK_FNAME);
}

ISOLATED_TEST(SocketPath, TheDomainWinsOverThePartition) {
    const Variables both("/tmp/s", "d", "p");
    EXPECT_TRUE(hb_resolve_socket_path());
    EXPECT_STREQ("/tmp/s.d", SERVER_SOCK_FNAME);
}

ISOLATED_TEST(SocketPath, AnEmptyDomainFallsThroughToThePartition) {
    const Variables partition("/tmp/s", "", "p");
    EXPECT_TRUE(hb_resolve_socket_path());
    EXPECT_STREQ("/tmp/s.p", SERVER_SOCK_FNAME);
}

ISOLATED_TEST(SocketPath, WithoutADomainThePartitionIsTheSuffix) {
    const Variables partition("/tmp/s", std::nullopt, "p");
    EXPECT_TRUE(hb_resolve_socket_path());
    EXPECT_STREQ("/tmp/s.p", SERVER_SOCK_FNAME);
}

ISOLATED_TEST(SocketPath, BothEmptyIsTheBareBase) {
    const Variables empty("/tmp/s", "", "");
    EXPECT_TRUE(hb_resolve_socket_path());
    EXPECT_STREQ("/tmp/s", SERVER_SOCK_FNAME);
}

ISOLATED_TEST(SocketPath, TheLibraryConnectsToTheBaseWithTheSuffix) {
    Fake_Daemon daemon(named("s.d"));
    const Variables base(daemon.directory() + "/s", "d", "other");
    open_library();
    EXPECT_EQ(1, daemon.connections());
    EXPECT_EQ(daemon.path(), SERVER_SOCK_FNAME);
}

ISOLATED_TEST(SocketPath, IsReadAgainEachTimeTheLibraryIsOpened) {
    Fake_Daemon first;
    Fake_Daemon_Plan other;
    Cluster_Facts cluster = small_cluster();
    cluster.local_node = 4;
    other.connections = {serve_configuration(snapshot(cluster))};
    open_library();
    EXPECT_EQ(Hb_Success, hb_terminate());
    Fake_Daemon second(other);
    Hb_Node_Number node = -1;
    EXPECT_EQ(Hb_Success, hb_get_my_node_number(&node));
    EXPECT_EQ(4, node);
    EXPECT_EQ(1, first.connections());
    EXPECT_EQ(1, second.connections());
}

ISOLATED_TEST(SocketPath, Of107BytesIsConnectedTo) {
    Fake_Daemon_Plan plan;
    plan.socket_name = std::string(107 - (hb_test::Temp_Dir::root() + "/hbt.XXXXXX/").size(), 'n');
    Fake_Daemon daemon(plan);
    ASSERT_EQ(107U, daemon.path().size());
    open_library();
    EXPECT_EQ(1, daemon.connections());
}

ISOLATED_TEST(SocketPath, Of108BytesIsError15AndIsNotCut) {
    Fake_Daemon_Plan plan;
    plan.socket_name = std::string(107 - (hb_test::Temp_Dir::root() + "/hbt.XXXXXX/").size(), 'n');
    Fake_Daemon daemon(plan);
    const Variables longer(daemon.path() + "n", std::nullopt, std::nullopt);
    EXPECT_EQ(Hb_Failure, hb_init());
    EXPECT_EQ(15, hb_get_errno());
    EXPECT_EQ(nullptr, client_socket);
    EXPECT_STREQ("/var/ha/soc/wisp/server_socket", HB_SERVER_SOCKET) << "what does not fit is not kept";
    const Variables fits(daemon.path(), std::nullopt, std::nullopt);
    open_library();
    EXPECT_EQ(1, daemon.connections()) << "nobody connected to the path cut short";
}

ISOLATED_TEST(SocketPath, ThatIsTooLongWithItsSuffixIsError15) {
    const Temp_Dir directory;
    for (const bool by_domain : {true, false}) {
        const std::string suffix(100, 'd');
        const Variables longer(directory.file("s"), by_domain ? suffix : "", by_domain ? "" : suffix);
        set_hb_errno(0);
        EXPECT_EQ(Hb_Failure, hb_init());
        EXPECT_EQ(15, hb_get_errno());
    }
}

ISOLATED_TEST(SocketPath, OfManyThousandBytesSpoilsNothing) {
    const Variables huge(std::string(100000, 'x'), std::string(100000, 'y'), std::nullopt);
    EXPECT_EQ(Hb_Failure, hb_init());
    EXPECT_EQ(15, hb_get_errno());
    EXPECT_STREQ("/var/ha/soc/wisp/server_socket", HB_SERVER_SOCKET);
}

ISOLATED_TEST(SocketPath, ThatIsEmptyIsError15) {
    const Variables empty("", std::nullopt, std::nullopt);
    EXPECT_EQ(Hb_Failure, hb_init());
    EXPECT_EQ(15, hb_get_errno());
}

// ---- Failing to open ----

ISOLATED_TEST(SessionFailure, NobodyListeningIsError15) {
    Fake_Daemon daemon;
    daemon.stop_listening();
    const int before = open_descriptors();
    EXPECT_EQ(Hb_Failure, hb_init());
    EXPECT_EQ(15, hb_get_errno());
    EXPECT_EQ(0, client_initialized);
    EXPECT_EQ(nullptr, client_socket);
    EXPECT_EQ(before, open_descriptors());
}

ISOLATED_TEST(SessionFailure, NoSocketIsError13) {
    Fake_Daemon daemon;
    const Fault_Guard fault = failing(Call::socket_, ENFILE);
    EXPECT_EQ(Hb_Failure, hb_init());
    EXPECT_EQ(13, hb_get_errno());
    EXPECT_EQ(nullptr, client_socket);
}

ISOLATED_TEST(SessionFailure, ARefusedBufferSizeIsError14) {
    Fake_Daemon daemon;
    for (const int skip : {0, 1}) {
        const Fault_Guard fault = failing(Call::setsockopt_, EPERM, skip);
        const int before = open_descriptors();
        set_hb_errno(0);
        EXPECT_EQ(Hb_Failure, hb_init());
        EXPECT_EQ(14, hb_get_errno());
        EXPECT_EQ(nullptr, client_socket);
        EXPECT_EQ(before, open_descriptors());
    }
}

ISOLATED_TEST(SessionFailure, ShortMemoryForTheSocketOrTheWaitSetIsError17) {
    Fake_Daemon daemon;
    for (const int skip : {0, 1}) {
        const int before = open_descriptors();
        set_hb_errno(0);
        Hb_Rc result = Hb_Success;
        {
            Fault short_memory;
            short_memory.call = Call::allocation;
            short_memory.skip = skip;
            const Fault_Guard fault(short_memory);
            result = hb_init_communication();
            EXPECT_EQ(1, fault.hits());
        }
        EXPECT_EQ(Hb_Failure, result);
        EXPECT_EQ(17, hb_get_errno());
        EXPECT_EQ(nullptr, client_socket);
        EXPECT_EQ(nullptr, client_select);
        EXPECT_TRUE(wait_until([before] { return open_descriptors() == before; }));
    }
}

ISOLATED_TEST(SessionFailure, AnEarlierConnectionIsGoneAfterAFailedAttempt) {
    Fake_Daemon daemon;
    ASSERT_EQ(Hb_Success, hb_init_communication());
    ASSERT_TRUE(daemon.wait_connections(1));
    daemon.stop_listening();
    EXPECT_EQ(Hb_Failure, hb_init_communication());
    EXPECT_EQ(nullptr, client_socket);
    EXPECT_TRUE(daemon.wait_connections_ended(1));
}

ISOLATED_TEST(SessionFailure, TheNextCallRepeatsEveryStepAndSucceeds) {
    const Temp_Dir directory;
    {
        const Variables nobody(directory.file("nobody"), std::nullopt, std::nullopt);
        EXPECT_EQ(Hb_Failure, hb_init());
    }
    Fake_Daemon daemon;
    open_library();
    EXPECT_EQ(1, client_initialized);
    EXPECT_TRUE(same_bytes(frame(request(201, getpid())), daemon.received()));
}

ISOLATED_TEST(SessionFailure, MissingSegmentsLeaveTheSocketAndTheNextOpeningReleasesIt) {
    Fake_Daemon_Plan plan;
    plan.segments = no_segments();
    plan.connections = {{}};
    Fake_Daemon daemon(plan);
    EXPECT_EQ(Hb_Failure, hb_init());
    EXPECT_EQ(33, hb_get_errno());
    EXPECT_EQ(0, client_initialized);
    EXPECT_NE(nullptr, client_socket) << "what was built is not undone";
    EXPECT_EQ(Hb_Failure, hb_init());
    EXPECT_TRUE(daemon.wait_connections(2));
    EXPECT_TRUE(daemon.wait_connections_ended(1));
}

ISOLATED_TEST(SessionFailure, AWrongReplyLeavesTheLibraryClosedAndTheTableEmpty) {
    Fake_Daemon_Plan plan;
    plan.connections = {{read_record(), send_record(reply(12))},
                        serve_configuration(snapshot(small_cluster()))};
    Fake_Daemon daemon(plan);
    EXPECT_EQ(Hb_Failure, hb_init());
    EXPECT_EQ(10, hb_get_errno());
    EXPECT_EQ(0, client_initialized);
    EXPECT_EQ(nullptr, global_config_tbl.Hb_global_adapter_list);
    EXPECT_EQ(nullptr, global_config_tbl.adap_hash);
    EXPECT_EQ(nullptr, global_config_tbl.ip_hash);
    EXPECT_EQ(nullptr, global_config_tbl.site_hash);
    EXPECT_EQ(Hb_Success, hb_init()) << "a second attempt starts from the beginning";
    EXPECT_EQ(2, daemon.connections());
}

ISOLATED_TEST(SessionFailure, ReopeningThatFailsLeavesFourEmptyFieldsOfTheTable) {
    Fake_Daemon_Plan plan;
    plan.connections = {serve_configuration(snapshot(small_cluster())), {read_record(), send_record(reply(1))}};
    Fake_Daemon daemon(plan);
    open_library();
    EXPECT_NE(nullptr, global_config_tbl.adap_hash);
    EXPECT_EQ(Hb_Success, hb_terminate());
    EXPECT_EQ(Hb_Failure, hb_init());
    EXPECT_EQ(nullptr, global_config_tbl.Hb_global_adapter_list);
    EXPECT_EQ(nullptr, global_config_tbl.adap_hash);
    EXPECT_EQ(nullptr, global_config_tbl.ip_hash);
    EXPECT_EQ(nullptr, global_config_tbl.site_hash);
}

// Every allocation of the opening fails in turn: once, and then permanently.
ISOLATED_TEST(SessionFailure, ShortMemoryAnywhereIsACleanFailureAndTheNextAttemptSucceeds) {
    Fake_Daemon_Plan plan;
    plan.segments = segments_for(8);
    Fake_Daemon daemon(plan);
    for (const int times : {1, -1}) {
        int failures = 0;
        for (int skip = 0;; ++skip) {
            Fault short_memory;
            short_memory.call = Call::allocation;
            short_memory.skip = skip;
            short_memory.times = times;
            set_hb_errno(0);
            Hb_Rc result = Hb_Success;
            int hits = 0;
            {
                const Fault_Guard fault(short_memory);
                result = hb_init();
                hits = fault.hits();
            }
            if (hits == 0) {
                EXPECT_EQ(Hb_Success, result);
                hb_terminate();
                break;
            }
            if (result != Hb_Success) {
                ++failures;
                EXPECT_EQ(0, client_initialized) << "allocation " << skip;
                EXPECT_TRUE(hb_get_errno() == 17 || hb_get_errno() == 27) << hb_get_errno() << " at " << skip;
            }
            hb_terminate();
            ASSERT_EQ(Hb_Success, hb_init()) << "after allocation " << skip << ", error " << hb_get_errno();
            ASSERT_EQ(5, global_config_tbl.Hb_num_adapters);
            hb_terminate();
            ASSERT_LT(skip, 1000);
        }
        EXPECT_GT(failures, 5);
    }
}

// ---- Closing ----

ISOLATED_TEST(Session, TerminatingBeforeOpeningSucceedsAndDoesNothing) {
    Fake_Daemon daemon;
    const Call_Log log;
    EXPECT_EQ(Hb_Success, hb_terminate());
    EXPECT_EQ(0, daemon.connections());
    EXPECT_EQ(nullptr, client_socket);
    EXPECT_EQ(nullptr, client_select);
    EXPECT_TRUE(log.calls(Call::socket_).empty());
}

ISOLATED_TEST(Session, TerminatingClosesTheConnectionAndLeavesTheWaitSet) {
    Fake_Daemon daemon;
    open_library();
    const Hb_Select *waits = client_select;
    EXPECT_EQ(Hb_Success, hb_terminate());
    EXPECT_EQ(0, client_initialized);
    EXPECT_EQ(nullptr, client_socket);
    EXPECT_EQ(waits, client_select);
    EXPECT_NE(nullptr, client_select);
    EXPECT_TRUE(daemon.wait_connections_ended(1));
}

ISOLATED_TEST(Session, TerminatingLeavesTheSegmentsAttached) {
    Fake_Daemon daemon;
    open_library();
    const int mapped = segment_mappings();
    EXPECT_EQ(Hb_Success, hb_terminate());
    EXPECT_EQ(mapped, segment_mappings());
    ASSERT_NE(nullptr, data_for_client);
    EXPECT_EQ(8U, data_for_client->number_of_nodes);
}

ISOLATED_TEST(Session, TerminatingAHalfFinishedOpeningDoesNothing) {
    Fake_Daemon_Plan plan;
    plan.segments = no_segments();
    Fake_Daemon daemon(plan);
    EXPECT_EQ(Hb_Failure, hb_init());
    const Hb_Csock *half = client_socket;
    ASSERT_NE(nullptr, half);
    EXPECT_EQ(Hb_Success, hb_terminate());
    EXPECT_EQ(half, client_socket);
}

ISOLATED_TEST(Session, TerminatingTwiceSucceeds) {
    Fake_Daemon daemon;
    open_library();
    EXPECT_EQ(Hb_Success, hb_terminate());
    EXPECT_EQ(Hb_Success, hb_terminate());
}

ISOLATED_TEST(Session, OpensAnewAfterTerminating) {
    Fake_Daemon daemon;
    open_library();
    EXPECT_EQ(Hb_Success, hb_terminate());
    open_library();
    EXPECT_EQ(2, daemon.connections());
    int count = 0;
    EXPECT_EQ(Hb_Success, hb_get_number_of_configured_adapters(&count));
    EXPECT_EQ(5, count);
}

ISOLATED_TEST(Session, ADaemonThatHasGoneIsNotReconnectedToUntilTheLibraryIsTerminated) {
    signal(SIGPIPE, SIG_IGN);
    Fake_Daemon daemon;
    open_library();
    daemon.run(hang_up());
    ASSERT_TRUE(daemon.wait_connections_ended(1));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Hb_Failure, hb_send(HB_CLIENT_HEARTBEAT, nullptr, 0));
        EXPECT_EQ(16, hb_get_errno());
        EXPECT_EQ(Hb_Success, hb_init());
    }
    EXPECT_EQ(1, daemon.connections());
    EXPECT_EQ(Hb_Success, hb_terminate());
    open_library();
    EXPECT_EQ(Hb_Success, hb_send(HB_CLIENT_HEARTBEAT, nullptr, 0));
    EXPECT_EQ(2, daemon.connections());
}

ISOLATED_TEST(Session, TheConnectionAndTheWaitSetCanBeRemovedAndAgain) {
    Fake_Daemon daemon;
    ASSERT_EQ(Hb_Success, hb_init_communication());
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(Hb_Success, hb_remove_socket());
        EXPECT_EQ(nullptr, client_socket);
        EXPECT_EQ(Hb_Success, hb_remove_client_select());
        EXPECT_EQ(nullptr, client_select);
    }
    EXPECT_TRUE(daemon.wait_connections_ended(1));
}

// ---- The error number ----

ISOLATED_TEST(ErrorNumber, IsZeroAtFirstAndHoldsWhatWasSet) {
    EXPECT_EQ(0, hb_get_errno());
    set_hb_errno(71);
    EXPECT_EQ(71, hb_get_errno());
    EXPECT_EQ(71, global_hb_errno);
}

ISOLATED_TEST(ErrorNumber, ReadingItDoesNotOpenTheLibrary) {
    Fake_Daemon daemon;
    EXPECT_EQ(0, hb_get_errno());
    EXPECT_EQ(0, client_initialized);
    EXPECT_EQ(nullptr, client_socket);
}

ISOLATED_TEST(ErrorNumber, IsNotClearedByASuccess) {
    Fake_Daemon daemon;
    set_hb_errno(15);
    open_library();
    Hb_Node_Number node = 0;
    EXPECT_EQ(Hb_Success, hb_get_my_node_number(&node));
    EXPECT_EQ(15, hb_get_errno());
}

ISOLATED_TEST(ErrorNumber, IsSharedByAllThreads) {
    std::thread other([] { set_hb_errno(33); });
    other.join();
    EXPECT_EQ(33, hb_get_errno());
}

// ---- Cancellation ----

TEST(MutexCleanup, UnlocksTheMutexItIsGiven) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    ASSERT_EQ(0, pthread_mutex_lock(&mutex));
    EXPECT_EQ(EBUSY, pthread_mutex_trylock(&mutex));
    mutex_cleanup_handler(&mutex);
    EXPECT_EQ(0, pthread_mutex_trylock(&mutex));
    pthread_mutex_unlock(&mutex);
}

struct Held {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    std::atomic<bool> locked{false};
};

void *hold_until_cancelled(void *argument) {
    auto *held = static_cast<Held *>(argument);
    pthread_mutex_lock(&held->mutex);
    pthread_cleanup_push(mutex_cleanup_handler, &held->mutex);
    held->locked = true;
    for (;;) {
        pause();
    }
    pthread_cleanup_pop(1);
    return nullptr;
}

ISOLATED_TEST(MutexCleanup, ACancelledThreadLeavesNothingLocked) {
    Held held;
    pthread_t thread{};
    ASSERT_EQ(0, pthread_create(&thread, nullptr, hold_until_cancelled, &held));
    ASSERT_TRUE(wait_until([&held] { return held.locked.load(); }));
    EXPECT_EQ(EBUSY, pthread_mutex_trylock(&held.mutex));
    pthread_cancel(thread);
    pthread_join(thread, nullptr);
    EXPECT_EQ(0, pthread_mutex_trylock(&held.mutex));
    pthread_mutex_unlock(&held.mutex);
}

} // namespace
} // namespace hb_test
