// SPDX-License-Identifier: Apache-2.0
// Attaching the daemon's shared segments and semaphores.
#include <cerrno>
#include <cstring>
#include <grp.h>
#include <sys/prctl.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/protocol/client.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/faults.h"
#include "tests/support/hb_communication.h"
#include "tests/support/hb_global_data.h"
#include "tests/support/isolated.h"
#include "tests/support/leftovers.h"
#include "tests/support/process_counters.h"

namespace hb_test {
namespace {

Fake_Daemon_Plan with(const Segments_Plan &segments) {
    Fake_Daemon_Plan plan;
    plan.segments = segments;
    return plan;
}

// Calls hb_init_shared_memory alone, for the path from the environment.
int error_of_attaching() {
    EXPECT_TRUE(hb_resolve_socket_path());
    set_hb_errno(0);
    return hb_init_shared_memory() == Hb_Success ? 0 : hb_get_errno();
}

ISOLATED_TEST(Segments, AreAttachedAndRead) {
    Segments_Plan segments = segments_for(8, 5);
    segments.configuration.content = {0x0D, 0x0C, 0x0B, 0x0A, 8, 0, 0, 0, 5, 0, 0, 0};
    segments.routes.content = Bytes().zeros(184).i32(77).i16(11).i16(1).zeros(160).add(ipv6("fe80::7"));
    segments.security.content = Bytes().i32(99).zeros(3160).i32(0x55667788);
    Fake_Daemon daemon(with(segments));
    const Call_Log log;
    open_library();

    EXPECT_EQ(daemon.segments().configuration_id(), shm_id[0]);
    EXPECT_EQ(daemon.segments().routes_id(), shm_id[1]);
    EXPECT_EQ(daemon.segments().security_id(), shm_id[2]);
    EXPECT_EQ(daemon.segments().semaphores_id(), shm_sem_id);

    ASSERT_NE(nullptr, data_for_client);
    EXPECT_EQ(0x0A0B0C0DU, data_for_client->sequence_number);
    EXPECT_EQ(8U, data_for_client->number_of_nodes);
    EXPECT_EQ(5U, data_for_client->number_of_adapters);

    ASSERT_NE(nullptr, shared_route_info);
    EXPECT_EQ(77U, shared_route_info[1].sequence_number) << "the second node's record, 184 bytes in";
    EXPECT_EQ(11, shared_route_info[1].length);
    EXPECT_EQ(1, shared_route_info[1].nonip);
    EXPECT_EQ(ipv6("fe80::7"), bytes_of(shared_route_info[1].ip_option.sr_address[10]));

    ASSERT_NE(nullptr, security_info);
    EXPECT_EQ(99U, security_info->sequence_number);
    EXPECT_EQ(0x55667788U, security_info->cache.keyCacheCount) << "the last four of 3168 bytes";
}

ISOLATED_TEST(Segments, TheSecurityRecordsFieldsAreWhereTheDaemonPutsThem) {
    Segments_Plan segments = segments_for(8);
    Bytes bytes;
    for (int64_t word = 0; word < 3168 / 4; ++word) {
        bytes.i32(word);
    }
    segments.security.content = bytes;
    Fake_Daemon daemon(with(segments));
    open_library();
    ASSERT_NE(nullptr, security_info);
    EXPECT_EQ(0U, security_info->sequence_number);
    EXPECT_EQ(1, security_info->previous_sec_status.securityOn);
    EXPECT_EQ(71, security_info->current_sec_status.securityOn);
    EXPECT_EQ(72, security_info->current_sec_status.keyCount);
    EXPECT_EQ(73, security_info->current_sec_status.KLOM_compatible);
    EXPECT_EQ(74, security_info->current_sec_status.is_valid_for_signing);
    EXPECT_EQ(75, security_info->current_sec_status.is_valid_for_authenticating);
    EXPECT_EQ(76, security_info->current_sec_status.key.length);
    EXPECT_EQ(141, security_info->cache.keyCache[0].length);
    EXPECT_EQ(141 + 65 * 9, security_info->cache.keyCache[9].length);
    EXPECT_EQ(791U, security_info->cache.keyCacheCount);
}

ISOLATED_TEST(Segments, AreAskedForWithTheirKeysSizesAndNoPermissionBits) {
    Fake_Daemon daemon(with(segments_for(13)));
    const Call_Log log;
    EXPECT_EQ(0, error_of_attaching());
    const auto keys = log.calls(Call::ftok_);
    ASSERT_EQ(4U, keys.size());
    EXPECT_EQ(103, keys[0].arguments[0]);
    EXPECT_EQ(104, keys[1].arguments[0]);
    EXPECT_EQ(112, keys[2].arguments[0]);
    EXPECT_EQ(105, keys[3].arguments[0]);
    const auto gets = log.calls(Call::shmget_);
    ASSERT_EQ(3U, gets.size());
    EXPECT_EQ(12, gets[0].arguments[0]);
    EXPECT_EQ(13 * 184, gets[1].arguments[0]);
    EXPECT_EQ(3168, gets[2].arguments[0]);
    for (const Call_Record &get : gets) {
        EXPECT_EQ(0, get.arguments[1]);
    }
    const auto semaphores = log.calls(Call::semget_);
    ASSERT_EQ(1U, semaphores.size());
    EXPECT_EQ(2, semaphores[0].arguments[0]);
    EXPECT_EQ(0, semaphores[0].arguments[1]);
}

ISOLATED_TEST(Segments, AreAttachedReadOnly) {
    Fake_Daemon daemon;
    const Call_Log log;
    EXPECT_EQ(0, error_of_attaching());
    const auto attached = log.calls(Call::shmat_);
    ASSERT_EQ(3U, attached.size());
    for (const Call_Record &one : attached) {
        EXPECT_EQ(SHM_RDONLY, one.arguments[0]);
    }
}

TEST(Segments, WritingToOneIsAFault) {
#if defined(HB_ADDRESS_SANITIZER) || defined(HB_THREAD_SANITIZER)
    constexpr bool handled = true; // the sanitizer reports the fault and ends the process itself
#else
    constexpr bool handled = false;
#endif
    const Isolated_Result result = run_in_child([] {
        Fake_Daemon daemon;
        open_library();
        *const_cast<volatile uint32_t *>(&data_for_client->sequence_number) = 1;
        ADD_FAILURE() << "it could be written";
    });
    EXPECT_TRUE(result.failures.empty());
    EXPECT_TRUE(handled ? result.exit_status != 0 : result.signal == SIGSEGV) << result.signal;
}

ISOLATED_TEST(Segments, WhatTheDaemonWritesLaterIsSeen) {
    Fake_Daemon daemon;
    open_library();
    EXPECT_EQ(1U, data_for_client->sequence_number);
    const Bytes two = Bytes().i32(2);
    std::memcpy(daemon.segments().configuration(), two.data(), two.size());
    EXPECT_EQ(2U, static_cast<const volatile uint32_t &>(data_for_client->sequence_number));
}

ISOLATED_TEST(Segments, OpeningTakesNoSemaphore) {
    Fake_Daemon daemon;
    open_library();
    EXPECT_EQ(0, semctl(daemon.segments().semaphores_id(), 0, GETVAL));
    EXPECT_EQ(0, semctl(daemon.segments().semaphores_id(), 1, GETVAL));
}

ISOLATED_TEST(Segments, AttachingAgainDetachesTheOldMapping) {
    Fake_Daemon daemon;
    const int before = segment_mappings();
    EXPECT_EQ(0, error_of_attaching());
    EXPECT_EQ(before + 3, segment_mappings());
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(0, error_of_attaching());
    }
    EXPECT_EQ(before + 3, segment_mappings());
}

ISOLATED_TEST(Segments, AttachedBeforeAFailureTheyStay) {
    Segments_Plan segments = segments_for(8);
    segments.semaphores = false;
    Fake_Daemon daemon(with(segments));
    const int before = segment_mappings();
    EXPECT_EQ(45, error_of_attaching());
    EXPECT_EQ(before + 3, segment_mappings());
    EXPECT_NE(nullptr, data_for_client);
    EXPECT_NE(nullptr, shared_route_info);
    EXPECT_NE(nullptr, security_info);
}

ISOLATED_TEST(Segments, OfANewDaemonAreFollowedWhenTheLibraryIsOpenedAgain) {
    {
        Fake_Daemon first(with(segments_for(3)));
        open_library();
        EXPECT_EQ(3U, data_for_client->number_of_nodes);
        EXPECT_EQ(Hb_Success, hb_terminate());
    }
    EXPECT_EQ(3U, data_for_client->number_of_nodes) << "still there though the daemon has removed it";
    Fake_Daemon second(with(segments_for(9)));
    open_library();
    EXPECT_EQ(9U, data_for_client->number_of_nodes);
    EXPECT_EQ(3, segment_mappings() - 3);
}

ISOLATED_TEST(Segments, TheLibraryMakesNone) {
    Fake_Daemon daemon(with(no_segments()));
    const Call_Log log;
    EXPECT_EQ(Hb_Failure, hb_init());
    EXPECT_EQ(33, hb_get_errno());
    for (const Call_Record &get : log.calls(Call::shmget_)) {
        EXPECT_EQ(0, get.arguments[1] & IPC_CREAT);
    }
}

// ---- Real failures ----

ISOLATED_TEST(SegmentFailure, AllAbsentIsError33FromTheFirst) {
    Fake_Daemon daemon(with(no_segments()));
    const Call_Log log;
    EXPECT_EQ(33, error_of_attaching());
    EXPECT_EQ(1U, log.calls(Call::shmget_).size());
    EXPECT_EQ(nullptr, data_for_client);
}

ISOLATED_TEST(SegmentFailure, AnyOneAbsentIsError33) {
    for (int missing = 0; missing < 3; ++missing) {
        Segments_Plan segments = segments_for(8);
        (missing == 0   ? segments.configuration
         : missing == 1 ? segments.routes
                        : segments.security)
            .present = false;
        Fake_Daemon daemon(with(segments));
        EXPECT_EQ(33, error_of_attaching()) << missing;
    }
}

ISOLATED_TEST(SegmentFailure, ARouteSegmentForFewerNodesThanClaimedIsError32) {
    Segments_Plan segments = segments_for(8);
    segments.routes.size = 184; // less than 8 x 184; sizes are compared in bytes, not in pages
    Fake_Daemon daemon(with(segments));
    EXPECT_EQ(32, error_of_attaching());
}

ISOLATED_TEST(SegmentFailure, AnAbsurdNumberOfNodesIsError32) {
    for (const int64_t nodes : {0x7FFFFFFFLL, 0xFFFFFFFFLL, 23342214LL}) {
        Segments_Plan segments = segments_for(8);
        segments.configuration.content = Bytes().i32(1).i32(nodes).i32(0);
        Fake_Daemon daemon(with(segments));
        EXPECT_EQ(32, error_of_attaching()) << nodes;
    }
}

ISOLATED_TEST(SegmentFailure, AConfigurationSegmentThatIsTooSmallIsError32) {
    Segments_Plan segments = segments_for(8);
    segments.configuration.size = 11;
    Fake_Daemon daemon(with(segments));
    EXPECT_EQ(32, error_of_attaching());
}

ISOLATED_TEST(SegmentFailure, ASecuritySegmentThatIsTooSmallIsError32) {
    Segments_Plan segments = segments_for(8);
    segments.security.size = 3167;
    Fake_Daemon daemon(with(segments));
    EXPECT_EQ(32, error_of_attaching());
}

ISOLATED_TEST(SegmentFailure, LargerOnesThanNeededAreFine) {
    Segments_Plan segments = segments_for(8);
    segments.configuration.size = 4096;
    segments.routes.size = 2049 * 184;
    segments.security.size = 8192;
    Fake_Daemon daemon(with(segments));
    EXPECT_EQ(0, error_of_attaching());
}

ISOLATED_TEST(SegmentFailure, AbsentSemaphoresAreError45) {
    Segments_Plan segments = segments_for(8);
    segments.semaphores = false;
    Fake_Daemon daemon(with(segments));
    EXPECT_EQ(45, error_of_attaching());
}

ISOLATED_TEST(SegmentFailure, ASetOfOneSemaphoreIsError44) {
    Segments_Plan segments = segments_for(8);
    segments.semaphore_count = 1;
    Fake_Daemon daemon(with(segments));
    EXPECT_EQ(44, error_of_attaching());
}

// Permissions do not restrict root, so the test becomes the user nobody first.
void become_nobody() {
    if (geteuid() == 0) {
        ASSERT_EQ(0, setgroups(0, nullptr));
        ASSERT_EQ(0, setresgid(65534, 65534, 65534));
        ASSERT_EQ(0, setresuid(65534, 65534, 65534));
        prctl(PR_SET_DUMPABLE, 1); // the leak check reads its own process
    }
}

ISOLATED_TEST(SegmentFailure, ASegmentThatMayNotBeReadIsError37) {
    become_nobody();
    for (int closed = 0; closed < 3; ++closed) {
        Segments_Plan segments = segments_for(8);
        (closed == 0 ? segments.configuration : closed == 1 ? segments.routes : segments.security).mode = 0;
        Fake_Daemon daemon(with(segments));
        EXPECT_EQ(37, error_of_attaching()) << closed;
    }
}

ISOLATED_TEST(SegmentFailure, ReadPermissionIsEnough) {
    become_nobody();
    Segments_Plan segments = segments_for(8);
    segments.configuration.mode = segments.routes.mode = segments.security.mode = 0400;
    Fake_Daemon daemon(with(segments));
    EXPECT_EQ(0, error_of_attaching());
}

// ---- Their creator ----

// Simulates a daemon of root whose segments, or semaphores, another user made. The socket belongs to this
// process.
class Foreign_Ipc {
  public:
    // The letters of the other user's keys.
    Foreign_Ipc(const std::string &path, const std::string &letters) {
        std::vector<int> ids;
        EXPECT_EQ(0, seteuid(FOREIGN_USER));
        for (const char letter : letters) {
            const key_t key = ftok(path.c_str(), letter);
            const int id = letter == 'i'   ? semget(key, 2, IPC_CREAT | IPC_EXCL | 0666)
                           : letter == 'g' ? shmget(key, 12, IPC_CREAT | IPC_EXCL | 0666)
                           : letter == 'h' ? shmget(key, 8 * 184, IPC_CREAT | IPC_EXCL | 0666)
                                           : shmget(key, 3168, IPC_CREAT | IPC_EXCL | 0666);
            EXPECT_NE(-1, id) << letter;
            note_made(letter == 'i' ? Made::semaphores : Made::segment, id);
            made_.push_back({letter, id});
        }
        EXPECT_EQ(0, seteuid(0));
    }
    Foreign_Ipc(const Foreign_Ipc &) = delete;
    Foreign_Ipc &operator=(const Foreign_Ipc &) = delete;
    ~Foreign_Ipc() {
        for (const auto &[letter, id] : made_) {
            letter == 'i' ? semctl(id, 0, IPC_RMID) : shmctl(id, IPC_RMID, nullptr);
            note_gone(letter == 'i' ? Made::semaphores : Made::segment, id);
        }
    }

  private:
    static constexpr uid_t FOREIGN_USER = 64001;
    std::vector<std::pair<char, int>> made_;
};

Fake_Daemon_Plan without(char letter) {
    Segments_Plan segments = segments_for(8);
    segments.configuration.present = letter != 'g';
    segments.routes.present = letter != 'h';
    segments.security.present = letter != 'p';
    segments.semaphores = letter != 'i';
    return with(segments);
}

// The other user must be able to read the path that the key is made from.
void open_directory(const Fake_Daemon &daemon) {
    EXPECT_EQ(0, chmod(daemon.directory().c_str(), 0755));
}

int error_of_opening() {
    set_hb_errno(0);
    return hb_init() == Hb_Success ? 0 : hb_get_errno();
}

void expect_error_of_foreign(char letter, int error) {
    Fake_Daemon daemon(without(letter));
    open_directory(daemon);
    const Foreign_Ipc foreign(daemon.path(), std::string(1, letter));
    EXPECT_EQ(error, error_of_opening());
    EXPECT_TRUE(daemon.received().empty()) << "the configuration is not asked for";
}

#define NEEDS_ROOT()                                                                                           \
    if (geteuid() != 0) {                                                                                      \
        GTEST_SKIP() << "making segments as another user needs root";                                          \
    }                                                                                                          \
    static_assert(true)

TEST(SegmentCreator, AnotherUsersSegmentIsError37AndIsDetached) {
    NEEDS_ROOT();
    for (const char letter : {'g', 'h', 'p'}) {
        run_isolated([letter] {
            expect_error_of_foreign(letter, 37);
            EXPECT_EQ(nullptr, letter == 'g'   ? static_cast<const void *>(data_for_client)
                               : letter == 'h' ? static_cast<const void *>(shared_route_info)
                                               : security_info);
        });
    }
}

TEST(SegmentCreator, AnotherUsersSemaphoresAreError43AndAreNotUsed) {
    NEEDS_ROOT();
    run_isolated([] {
        expect_error_of_foreign('i', 43);
        EXPECT_EQ(-1, shm_sem_id);
    });
}

TEST(SegmentCreator, ThoseOfTheDaemonsUserAreUsedAndSoAreRoots) {
    NEEDS_ROOT();
    // The daemon and all its segments belong to another user than the client; then one segment belongs to root.
    for (const std::string foreign : {"ghpi", "ghp"}) {
        run_isolated([&foreign] {
            Segments_Plan none = no_segments();
            none.semaphores = foreign.size() == 3;
            ASSERT_EQ(0, seteuid(64001));
            Fake_Daemon_Plan plan;
            plan.segments = no_segments();
            Fake_Daemon daemon(plan);
            ASSERT_EQ(0, seteuid(0));
            const Daemon_Segments roots(daemon.path(), none);
            const Foreign_Ipc own(daemon.path(), foreign);
            const Hb_memory_configuration_data content = {1, 8, 0};
            const int id = shmget(ftok(daemon.path().c_str(), 'g'), 12, 0);
            void *memory = shmat(id, nullptr, 0);
            std::memcpy(memory, &content, sizeof content);
            EXPECT_EQ(0, shmdt(memory));
            EXPECT_EQ(0, error_of_opening());
        });
    }
}

TEST(SegmentCreator, ThoseOfAnotherUserThanTheDaemonsAreRefusedAlsoWhenTheyAreTheCallers) {
    NEEDS_ROOT();
    run_isolated([] {
        Fake_Daemon_Plan plan;
        plan.segments = no_segments();
        Fake_Daemon daemon(plan); // owned by root
        open_directory(daemon);
        EXPECT_EQ(0, chmod(daemon.path().c_str(), 0666));
        const Foreign_Ipc foreign(daemon.path(), "ghpi");
        ASSERT_EQ(0, seteuid(64001));
        EXPECT_EQ(37, error_of_opening());
        ASSERT_EQ(0, seteuid(0));
    });
}

TEST(SegmentCreator, SemaphoresThatMayNotBeReadAreNotUsed) {
    NEEDS_ROOT();
    run_isolated([] {
        Segments_Plan segments = segments_for(8);
        segments.configuration.mode = segments.routes.mode = segments.security.mode = 0444;
        segments.semaphore_mode =
            0622; // a user who may alter but not read could be blocked by an unknown process
        Fake_Daemon daemon(with(segments));
        open_directory(daemon);
        EXPECT_EQ(0, chmod(daemon.path().c_str(), 0666));
        ASSERT_EQ(0, seteuid(64001));
        EXPECT_EQ(0, error_of_opening());
        EXPECT_EQ(-1, shm_sem_id);
        ASSERT_EQ(0, seteuid(0));
    });
}

ISOLATED_TEST(SegmentFailure, FailsTheOpeningWithItsErrorNumber) {
    Segments_Plan segments = segments_for(8);
    segments.security.present = false;
    Fake_Daemon daemon(with(segments));
    EXPECT_EQ(Hb_Failure, hb_init());
    EXPECT_EQ(33, hb_get_errno());
    EXPECT_EQ(0, client_initialized);
    EXPECT_TRUE(daemon.received().empty()) << "the configuration is asked for after the segments";
}

// ---- Every system error ----

ISOLATED_TEST(SegmentFailure, EachKeyThatCannotBeMadeHasItsErrorNumber) {
    Fake_Daemon daemon;
    const int numbers[] = {28, 29, 54, 30};
    for (int which = 0; which < 4; ++which) {
        const Fault_Guard fault = failing(Call::ftok_, ENOENT, which);
        const Call_Log log;
        EXPECT_EQ(numbers[which], error_of_attaching());
        EXPECT_TRUE(log.calls(Call::shmget_).empty());
    }
}

ISOLATED_TEST(SegmentFailure, WithoutASocketFileThereIsNoFirstKey) {
    const Environment_Guard path("HB_SERVER_SOCKET", "/nowhere/to/be/found");
    EXPECT_EQ(28, error_of_attaching());
}

ISOLATED_TEST(SegmentFailure, EachErrorOfFindingASegmentHasItsNumber) {
    const struct {
        int error;
        int first;
        int others;
    } rows[] = {{EACCES, 31, 31}, {EINVAL, 32, 32}, {ENOENT, 33, 33}, {ENOMEM, 34, 34},
                {ENOSPC, 35, 36}, {EMFILE, 36, 35}, {EPERM, 36, 36},  {EIO, 36, 36}};
    Fake_Daemon daemon;
    for (const auto &row : rows) {
        for (int which = 0; which < 3; ++which) {
            const Fault_Guard fault = failing(Call::shmget_, row.error, which);
            EXPECT_EQ(which == 0 ? row.first : row.others, error_of_attaching())
                << strerror(row.error) << ", segment " << which + 1;
        }
    }
}

ISOLATED_TEST(SegmentFailure, EachErrorOfAttachingASegmentHasItsNumber) {
    const struct {
        int error;
        int number;
    } rows[] = {{EACCES, 37}, {EINVAL, 38}, {ENOENT, 39}, {ENOMEM, 41}, {EMFILE, 42}, {EIDRM, 42}};
    Fake_Daemon daemon;
    for (const auto &row : rows) {
        for (int which = 0; which < 3; ++which) {
            const Fault_Guard fault = failing(Call::shmat_, row.error, which);
            EXPECT_EQ(row.number, error_of_attaching()) << strerror(row.error) << ", segment " << which + 1;
        }
    }
}

ISOLATED_TEST(SegmentFailure, EachErrorOfFindingTheSemaphoresHasItsNumber) {
    const struct {
        int error;
        int number;
    } rows[] = {{EACCES, 43}, {EINVAL, 44}, {ENOENT, 45}, {ENOMEM, 46}, {ENOSPC, 47}, {EPERM, 48}, {EIO, 48}};
    Fake_Daemon daemon;
    for (const auto &row : rows) {
        const Fault_Guard fault = failing(Call::semget_, row.error);
        EXPECT_EQ(row.number, error_of_attaching()) << strerror(row.error);
    }
}

ISOLATED_TEST(SegmentFailure, AFailedAttachmentLeavesNoPointerToWhatIsGone) {
    Fake_Daemon daemon;
    EXPECT_EQ(0, error_of_attaching());
    {
        const Fault_Guard fault = failing(Call::shmget_, ENOENT);
        EXPECT_EQ(33, error_of_attaching());
    }
    EXPECT_EQ(nullptr, data_for_client);
    EXPECT_EQ(nullptr, shared_route_info);
    EXPECT_EQ(nullptr, security_info);
    EXPECT_EQ(3, segment_mappings()) << "the daemon's own";
}

} // namespace
} // namespace hb_test
