// SPDX-License-Identifier: Apache-2.0
// The security state and keys that the daemon publishes.
#include <climits>
#include <cstring>

#include <gtest/gtest.h>

#include "qz_mss.h"
#include "tests/protocol/client.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/faults.h"
#include "tests/support/hb_communication.h"
#include "tests/support/hb_global_data.h"
#include "tests/support/isolated.h"
#include "tests/support/process_counters.h"
#include "tests/support/shared_records.h"

namespace hb_test {
namespace {

// Marshalled keys, byte for byte. The checksums come from another implementation of CRC-32.
const Bytes HMAC_KEY = {0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17,
                        0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F};
const Bytes HMAC_FORM = {'Q',  'Z',  'T',  'K',  1,    0,    0,    0,    1,    0,    0,    0,
                         16,   0,    0,    0,    0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17,
                         0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F, 0xED, 0xF4, 0xFB, 0x97};
const Bytes CMAC_FORM = Bytes({'Q', 'Z', 'T', 'K', 1, 0, 0, 0, 3, 0, 0, 0, 16, 0, 0, 0})
                            .fill(16, 0x3C)
                            .add({0x7D, 0x27, 0x15, 0x7D});
const Bytes LARGEST_FORM = Bytes({'Q', 'Z', 'T', 'K', 1, 0, 0, 0, 2, 0, 0, 0, 236, 0, 0, 0})
                               .fill(236, 0xA5)
                               .add({0xAD, 0x71, 0x32, 0x71}); // 256 bytes

// The security library's own marshalling of a key of this many equal bytes.
Bytes marshalled(unsigned char byte, std::size_t length) {
    Bytes bytes = Bytes().fill(length, byte);
    const sec_key_desc key = {SEC_KEY_TYPE_HMAC_SHA256, SEC_KEY_VERSION, static_cast<int32_t>(length),
                              bytes.data(), nullptr};
    Bytes form = Bytes().zeros(256);
    sec_buffer_desc room = {256, form.data()};
    EXPECT_EQ(0, sec_marshal_typed_key(&key, &room));
    return form.first(static_cast<std::size_t>(room.length));
}

Fake_Daemon_Plan plan_of(const Bytes &security_segment) {
    Fake_Daemon_Plan plan;
    plan.segments.security.content = security_segment;
    return plan;
}

void publish(Fake_Daemon &daemon, const Bytes &security_segment) {
    std::memcpy(daemon.segments().security(), security_segment.data(), security_segment.size());
}

// The caller's three records, filled with marks before the call. The destructor releases their keys.
struct Records {
    Records() { mark(); }
    Records(const Records &) = delete;
    Records &operator=(const Records &) = delete;
    ~Records() { EXPECT_EQ(Hb_Success, hb_free_security_info_keys(&current, &previous, &cache)); }

    void mark() {
        std::memset(&current, UNTOUCHED, sizeof current);
        std::memset(&previous, UNTOUCHED, sizeof previous);
        std::memset(&cache, UNTOUCHED, sizeof cache);
        cache.keyCacheCount = NO_COUNT;
    }
    Hb_Rc read() {
        set_hb_errno(NO_ERROR);
        return hb_get_security_infomation(&current, &previous, &cache);
    }
    // In the order of filling: current, previous, the cache.
    const sec_key_desc &key(std::size_t number) const {
        return number == 0 ? current.key : number == 1 ? previous.key : cache.keyCache[number - 2];
    }

    static constexpr uint32_t NO_COUNT = 0x77777777;
    static constexpr int NO_ERROR = 4711;
    static constexpr std::size_t KEYS = 12;

    Hb_Security_Status current;
    Hb_Security_Status previous;
    Hb_Key_Cache cache;
};

bool is_zeroed(const sec_key_desc &key) {
    return key.type == 0 && key.version == 0 && key.length == 0 && key.value == nullptr &&
           key.schedule == nullptr;
}

testing::AssertionResult is_key(unsigned type, const Bytes &bytes, const sec_key_desc &key) {
    if (key.type != type || key.version != 1 || key.length != static_cast<int32_t>(bytes.size()) ||
        key.value == nullptr) {
        return testing::AssertionFailure() << "type " << key.type << " version " << key.version << " length "
                                           << key.length << " value " << key.value;
    }
    return same_bytes(bytes, bytes_of(key.value, bytes.size()));
}

void expect_all_zeroed(const Records &records) {
    for (std::size_t i = 0; i < Records::KEYS; ++i) {
        EXPECT_TRUE(is_zeroed(records.key(i))) << i;
    }
}

void expect_marked_words(const Hb_Security_Status &status) {
    EXPECT_EQ(0x5A5A5A5A, status.securityOn);
    EXPECT_EQ(0x5A5A5A5A, status.keyCount);
    EXPECT_EQ(0x5A5A5A5A, status.KLOM_compatible);
    EXPECT_EQ(0x5A5A5A5A, status.is_valid_for_signing);
    EXPECT_EQ(0x5A5A5A5A, status.is_valid_for_authenticating);
}

// A segment whose twelve keys are these slots, in the order of Records::key.
Bytes segment_of(const std::vector<Bytes> &slots) {
    Security_Facts facts;
    facts.current = {{1, 2, 3, 4, 5}, slots[0]};
    facts.previous = {{6, 7, 8, 9, 10}, slots[1]};
    facts.cache.assign(slots.begin() + 2, slots.end());
    facts.cache_count = 10;
    return security(facts);
}

unsigned char byte_of_key(std::size_t number) {
    return static_cast<unsigned char>(0x41 + number);
}

std::vector<Bytes> twelve_keys() {
    std::vector<Bytes> slots;
    for (std::size_t i = 0; i < Records::KEYS; ++i) {
        slots.push_back(key_slot(marshalled(byte_of_key(i), 16 + 20 * i)));
    }
    return slots;
}

testing::AssertionResult is_one_of_twelve(std::size_t number, const sec_key_desc &key) {
    return is_key(1, Bytes().fill(16 + 20 * number, byte_of_key(number)), key);
}

// ---- The sequence ----

ISOLATED_TEST(SecuritySequence, IsTheSegmentsFirstWord) {
    Fake_Daemon daemon(plan_of({0x0D, 0x0C, 0x0B, 0x8A}));
    Hb_Sequence_Number sequence = 77;
    set_hb_errno(4711);
    EXPECT_EQ(Hb_Success, hb_get_security_sequence(&sequence));
    EXPECT_EQ(0x8A0B0C0DU, sequence);
    EXPECT_EQ(4711, hb_get_errno());
    EXPECT_EQ(1, client_initialized) << "it opens the library";
}

ISOLATED_TEST(SecuritySequence, IsReadAnewEachTime) {
    Fake_Daemon daemon;
    open_library();
    for (const uint32_t written : {0U, 1U, 2U, 0xFFFFFFFFU, 0U}) {
        std::memcpy(daemon.segments().security(), &written, 4);
        Hb_Sequence_Number sequence = 77;
        EXPECT_EQ(Hb_Success, hb_get_security_sequence(&sequence));
        EXPECT_EQ(written, sequence);
    }
}

ISOLATED_TEST(SecuritySequence, ANullPointerIsError4BeforeTheLibraryIsOpened) {
    Fake_Daemon daemon;
    EXPECT_EQ(Hb_Failure, hb_get_security_sequence(nullptr));
    EXPECT_EQ(4, hb_get_errno());
    EXPECT_EQ(0, client_initialized);
    EXPECT_EQ(0, daemon.connections());
}

ISOLATED_TEST(SecuritySequence, WithoutTheSegmentIsError33) {
    Fake_Daemon daemon;
    open_library();
    hb_detach_shared_memory();
    Hb_Sequence_Number sequence = 77;
    EXPECT_EQ(Hb_Failure, hb_get_security_sequence(&sequence));
    EXPECT_EQ(33, hb_get_errno());
    EXPECT_EQ(77U, sequence);
}

ISOLATED_TEST(SecuritySequence, WhereTheLibraryCannotBeOpenedTheErrorIsThatOfOpening) {
    Fake_Daemon daemon;
    daemon.stop_listening();
    Hb_Sequence_Number sequence = 77;
    EXPECT_EQ(Hb_Failure, hb_get_security_sequence(&sequence));
    EXPECT_EQ(15, hb_get_errno());
    EXPECT_EQ(77U, sequence);
}

ISOLATED_TEST(SecuritySequence, InClusterEventModeTheAttachedSegmentIsStillRead) {
    Fake_Daemon daemon(plan_of(Bytes().i32(5)));
    open_library();
    IsMOX = true;
    Hb_Sequence_Number sequence = 77;
    EXPECT_EQ(Hb_Success, hb_get_security_sequence(&sequence));
    EXPECT_EQ(5U, sequence);
}

// ---- State and keys ----

ISOLATED_TEST(SecurityInformation, GivesTheWordsOfTheStateInForceAndOfTheOneBefore) {
    Security_Facts facts;
    facts.current.words = {1, 11, 0, 1, 0};
    facts.previous.words = {0, 12, 1, 0, 1};
    Fake_Daemon daemon(plan_of(security(facts)));
    Records records;
    EXPECT_EQ(Hb_Success, records.read());
    EXPECT_EQ(Records::NO_ERROR, hb_get_errno());
    EXPECT_EQ(1, client_initialized) << "it opens the library";
    EXPECT_EQ(Hb_True, records.current.securityOn);
    EXPECT_EQ(11, records.current.keyCount);
    EXPECT_EQ(Hb_False, records.current.KLOM_compatible);
    EXPECT_EQ(Hb_True, records.current.is_valid_for_signing);
    EXPECT_EQ(Hb_False, records.current.is_valid_for_authenticating);
    EXPECT_EQ(Hb_False, records.previous.securityOn);
    EXPECT_EQ(12, records.previous.keyCount);
    EXPECT_EQ(Hb_True, records.previous.KLOM_compatible);
    EXPECT_EQ(Hb_False, records.previous.is_valid_for_signing);
    EXPECT_EQ(Hb_True, records.previous.is_valid_for_authenticating);
}

ISOLATED_TEST(SecurityInformation, HandsOnWordsThatNoNameIsKnownFor) {
    Security_Facts facts;
    facts.current.words = {77, -1, 0x80000000, 0x7FFFFFFF, 0x01020304};
    Fake_Daemon daemon(plan_of(security(facts)));
    Records records;
    EXPECT_EQ(Hb_Success, records.read());
    EXPECT_EQ(77, records.current.securityOn);
    EXPECT_EQ(-1, records.current.keyCount);
    EXPECT_EQ(INT_MIN, records.current.KLOM_compatible);
    EXPECT_EQ(INT_MAX, records.current.is_valid_for_signing);
    EXPECT_EQ(0x01020304, records.current.is_valid_for_authenticating);
}

ISOLATED_TEST(SecurityInformation, WithEverySlotEmptyHasTwelveZeroedDescriptorsAndTheDaemonsCount) {
    Security_Facts facts;
    for (const uint32_t count : {0U, 10U, 11U, 0xFFFFFFFEU}) {
        facts.cache_count = count;
        Fake_Daemon daemon(plan_of(security(facts)));
        open_library();
        Records records;
        EXPECT_EQ(Hb_Success, records.read());
        expect_all_zeroed(records);
        EXPECT_EQ(count, records.cache.keyCacheCount);
        EXPECT_EQ(Hb_Success, hb_terminate());
    }
}

ISOLATED_TEST(SecurityInformation, ASlotOfLengthZeroIsEmptyWhateverItsBytes) {
    Fake_Daemon daemon(plan_of(segment_of(std::vector<Bytes>(12, key_slot(0, LARGEST_FORM)))));
    Records records;
    EXPECT_EQ(Hb_Success, records.read());
    expect_all_zeroed(records);
}

ISOLATED_TEST(SecurityInformation, MakesKeysOfTheMarshalledOnes) {
    Security_Facts facts;
    facts.current.key = key_slot(HMAC_FORM);
    facts.previous.key = key_slot(LARGEST_FORM);
    facts.cache = {key_slot(CMAC_FORM), empty_slot(), key_slot(HMAC_FORM)};
    facts.cache_count = 2;
    Fake_Daemon daemon(plan_of(security(facts)));
    Records records;
    ASSERT_EQ(Hb_Success, records.read());
    EXPECT_TRUE(is_key(1, HMAC_KEY, records.current.key));
    EXPECT_TRUE(is_key(2, Bytes().fill(236, 0xA5), records.previous.key));
    EXPECT_TRUE(is_key(3, Bytes().fill(16, 0x3C), records.cache.keyCache[0]));
    EXPECT_TRUE(is_zeroed(records.cache.keyCache[1]));
    EXPECT_TRUE(is_key(1, HMAC_KEY, records.cache.keyCache[2]));
    EXPECT_EQ(2U, records.cache.keyCacheCount);
}

ISOLATED_TEST(SecurityInformation, ReadsTheBytesBehindTheFormNeither) {
    Fake_Daemon daemon(
        plan_of(segment_of(std::vector<Bytes>(12, key_slot(36, Bytes(HMAC_FORM).fill(220, 0xEE))))));
    Records records;
    ASSERT_EQ(Hb_Success, records.read());
    for (std::size_t i = 0; i < Records::KEYS; ++i) {
        EXPECT_TRUE(is_key(1, HMAC_KEY, records.key(i)));
    }
}

ISOLATED_TEST(SecurityInformation, KeepsTwelveKeysApart) {
    Fake_Daemon daemon(plan_of(segment_of(twelve_keys())));
    Records records;
    ASSERT_EQ(Hb_Success, records.read());
    for (std::size_t i = 0; i < Records::KEYS; ++i) {
        EXPECT_TRUE(is_one_of_twelve(i, records.key(i))) << i;
    }
}

ISOLATED_TEST(SecurityInformation, TheKeysOutliveTheSegment) {
    Records records;
    {
        Fake_Daemon daemon(plan_of(segment_of(twelve_keys())));
        ASSERT_EQ(Hb_Success, records.read());
        std::memset(daemon.segments().security(), 0, 3168);
        hb_detach_shared_memory();
    }
    for (std::size_t i = 0; i < Records::KEYS; ++i) {
        EXPECT_TRUE(is_one_of_twelve(i, records.key(i))) << i;
    }
}

ISOLATED_TEST(SecurityInformation, IsReadWithoutTheSemaphoresAndWithoutAskingTheDaemon) {
    Fake_Daemon daemon(plan_of(segment_of(twelve_keys())));
    open_library();
    const Call_Log log;
    Records records;
    EXPECT_EQ(Hb_Success, records.read());
    EXPECT_TRUE(log.calls(Call::semop_).empty());
    EXPECT_TRUE(log.calls(Call::writev_).empty());
    EXPECT_TRUE(log.calls(Call::read_).empty());
}

ISOLATED_TEST(SecurityInformation, InClusterEventModeTheAttachedSegmentIsStillRead) {
    Fake_Daemon daemon(plan_of(segment_of(twelve_keys())));
    open_library();
    IsMOX = true;
    Records records;
    EXPECT_EQ(Hb_Success, records.read());
    EXPECT_TRUE(is_one_of_twelve(11, records.key(11)));
}

// ---- Keys that cannot be unmarshalled ----

// Reads a segment in which the slot of this number is bad; the others hold the twelve keys.
void expect_failure_at(std::size_t bad, const Bytes &slot, Fake_Daemon &daemon) {
    SCOPED_TRACE(testing::Message() << "key " << bad);
    std::vector<Bytes> slots = twelve_keys();
    slots[bad] = slot;
    publish(daemon, segment_of(slots));
    Records records;
    EXPECT_EQ(Hb_Failure, records.read());
    EXPECT_EQ(Records::NO_ERROR, hb_get_errno()) << "no error number is set";
    for (std::size_t i = 0; i < Records::KEYS; ++i) {
        if (i < bad) {
            EXPECT_TRUE(is_one_of_twelve(i, records.key(i))) << i << ", made before, is the caller's";
        } else {
            EXPECT_TRUE(is_zeroed(records.key(i))) << i;
        }
    }
    EXPECT_EQ(1, records.current.securityOn);
    EXPECT_EQ(5, records.current.is_valid_for_authenticating);
    if (bad == 0) {
        expect_marked_words(records.previous);
    } else {
        EXPECT_EQ(6, records.previous.securityOn);
        EXPECT_EQ(10, records.previous.is_valid_for_authenticating);
    }
    EXPECT_EQ(Records::NO_COUNT, records.cache.keyCacheCount);
}

ISOLATED_TEST(BadKey, EndsTheReadingAtItsSlot) {
    Fake_Daemon daemon;
    open_library();
    for (std::size_t bad = 0; bad < Records::KEYS; ++bad) {
        expect_failure_at(bad, key_slot(Bytes().fill(40, 0x51)), daemon);
    }
    publish(daemon, segment_of(twelve_keys()));
    Records records;
    EXPECT_EQ(Hb_Success, records.read()) << "nothing stays behind";
}

ISOLATED_TEST(BadKey, IsOneWhoseLengthNoSlotHas) {
    Fake_Daemon daemon;
    open_library();
    for (const int64_t length : {-1, -36, -256, 257, 260, 65536, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(length);
        for (const std::size_t bad : {0U, 1U, 2U, 11U}) {
            expect_failure_at(bad, key_slot(length, HMAC_FORM), daemon);
        }
    }
}

ISOLATED_TEST(BadKey, IsOneThatIsCutShortOrGoesOn) {
    Fake_Daemon daemon;
    open_library();
    for (const int64_t length : {1, 4, 15, 16, 20, 32, 35, 37, 40, 255, 256}) {
        SCOPED_TRACE(length);
        expect_failure_at(2, key_slot(length, HMAC_FORM), daemon);
    }
    expect_failure_at(0, key_slot(255, LARGEST_FORM), daemon);
}

ISOLATED_TEST(BadKey, IsOneWithAnyDamagedByte) {
    Fake_Daemon daemon;
    open_library();
    for (std::size_t at = 0; at < HMAC_FORM.size(); ++at) {
        Bytes damaged = HMAC_FORM;
        damaged[at] ^= 0x80U;
        SCOPED_TRACE(at);
        expect_failure_at(at % Records::KEYS, key_slot(damaged), daemon);
    }
}

// ---- Arguments rejected before the segment is read ----

ISOLATED_TEST(SecurityInformation, ANullPointerIsError4BeforeTheLibraryIsOpenedAndTheOthersHoldNoKey) {
    Fake_Daemon daemon;
    for (unsigned given = 0; given < 7; ++given) {
        Records records;
        Hb_Security_Status *current = (given & 1U) != 0 ? &records.current : nullptr;
        Hb_Security_Status *previous = (given & 2U) != 0 ? &records.previous : nullptr;
        Hb_Key_Cache *cache = (given & 4U) != 0 ? &records.cache : nullptr;
        set_hb_errno(0);
        EXPECT_EQ(Hb_Failure, hb_get_security_infomation(current, previous, cache));
        EXPECT_EQ(4, hb_get_errno());
        EXPECT_TRUE(current == nullptr || is_zeroed(current->key));
        EXPECT_TRUE(previous == nullptr || is_zeroed(previous->key));
        for (int i = 0; cache != nullptr && i < 10; ++i) {
            EXPECT_TRUE(is_zeroed(cache->keyCache[i]));
        }
        expect_marked_words(records.current);
        expect_marked_words(records.previous);
        EXPECT_EQ(Records::NO_COUNT, records.cache.keyCacheCount);
        EXPECT_EQ(Hb_Success, hb_free_security_info_keys(current, previous, cache));
        EXPECT_EQ(Hb_Success, hb_get_security_infomation(&records.current, &records.previous, &records.cache));
        EXPECT_EQ(Hb_Success, hb_terminate());
        hb_detach_shared_memory();
    }
    EXPECT_EQ(7, daemon.connections());
}

void expect_nothing_but_zeroed_keys(Records &records) {
    expect_all_zeroed(records);
    expect_marked_words(records.current);
    expect_marked_words(records.previous);
    EXPECT_EQ(Records::NO_COUNT, records.cache.keyCacheCount);
}

ISOLATED_TEST(SecurityInformation, WithoutTheSegmentIsError33AndHoldsNoKey) {
    Fake_Daemon daemon(plan_of(segment_of(twelve_keys())));
    open_library();
    hb_detach_shared_memory();
    Records records;
    EXPECT_EQ(Hb_Failure, records.read());
    EXPECT_EQ(33, hb_get_errno());
    expect_nothing_but_zeroed_keys(records);
}

ISOLATED_TEST(SecurityInformation, WhereTheLibraryCannotBeOpenedTheErrorIsThatOfOpeningAndItHoldsNoKey) {
    Fake_Daemon daemon(plan_of(segment_of(twelve_keys())));
    daemon.stop_listening();
    Records records;
    EXPECT_EQ(Hb_Failure, records.read());
    EXPECT_EQ(15, hb_get_errno());
    expect_nothing_but_zeroed_keys(records);
}

// ---- Releasing ----

ISOLATED_TEST(FreeSecurityInfoKeys, TakesAnyPointerAsNullAndDoesNotOpenTheLibrary) {
    Fake_Daemon daemon;
    Hb_Security_Status status = {};
    Hb_Key_Cache cache = {};
    set_hb_errno(4711);
    EXPECT_EQ(Hb_Success, hb_free_security_info_keys(nullptr, nullptr, nullptr));
    EXPECT_EQ(Hb_Success, hb_free_security_info_keys(&status, nullptr, nullptr));
    EXPECT_EQ(Hb_Success, hb_free_security_info_keys(nullptr, &status, nullptr));
    EXPECT_EQ(Hb_Success, hb_free_security_info_keys(nullptr, nullptr, &cache));
    EXPECT_EQ(4711, hb_get_errno());
    EXPECT_EQ(0, client_initialized);
    EXPECT_EQ(0, daemon.connections());
}

ISOLATED_TEST(FreeSecurityInfoKeys, LeavesTheDescriptorsAsTheyAre) {
    Fake_Daemon daemon(plan_of(segment_of(twelve_keys())));
    Hb_Security_Status current;
    Hb_Security_Status previous;
    Hb_Key_Cache cache;
    ASSERT_EQ(Hb_Success, hb_get_security_infomation(&current, &previous, &cache));
    const Bytes before = bytes_of(current).add(bytes_of(previous)).add(bytes_of(cache));
    EXPECT_EQ(Hb_Success, hb_free_security_info_keys(&current, &previous, &cache));
    EXPECT_TRUE(same_bytes(before, bytes_of(current).add(bytes_of(previous)).add(bytes_of(cache))));
}

ISOLATED_TEST(FreeSecurityInfoKeys, GivesBackEverythingThatReadingTook) {
    Fake_Daemon daemon;
    open_library();
    const auto read_and_free = [&daemon](const std::vector<Bytes> &slots, Hb_Rc expected) {
        publish(daemon, segment_of(slots));
        Records records;
        EXPECT_EQ(expected, records.read());
    };
    const auto every_way = [&read_and_free] {
        read_and_free(twelve_keys(), Hb_Success);
        for (std::size_t bad = 0; bad < Records::KEYS; ++bad) {
            std::vector<Bytes> slots = twelve_keys();
            slots[bad] = key_slot(36, Bytes(HMAC_FORM).put(20, {0}));
            read_and_free(slots, Hb_Failure);
        }
    };
    every_way();
    const std::size_t before = allocated_bytes();
    for (int round = 0; round < 20; ++round) {
        every_way();
    }
    EXPECT_EQ(before, allocated_bytes());
}

} // namespace
} // namespace hb_test
