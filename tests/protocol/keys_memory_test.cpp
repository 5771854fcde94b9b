// SPDX-License-Identifier: Apache-2.0
// Key bytes on their way from the daemon's segment through the security library and the heap.
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "tests/protocol/client.h"
#include "tests/protocol/keys_watched_calls.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/hb_communication.h"
#include "tests/support/hb_global_data.h"
#include "tests/support/isolated.h"
#include "tests/support/shared_records.h"
#include "tests/unit/mss/wrapped_calls.h"

namespace hb_test {
namespace {

const Bytes KEY = {0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17,
                   0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F};
const Bytes FORM = {'Q',  'Z',  'T',  'K',  1,    0,    0,    0,    1,    0,    0,    0,
                    16,   0,    0,    0,    0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17,
                    0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F, 0xED, 0xF4, 0xFB, 0x97};

// The same key in every slot except these: 0 current, 1 previous, 2 to 11 the cache.
Bytes segment_without(const std::vector<std::size_t> &others, const Bytes &slot) {
    std::vector<Bytes> slots(12, key_slot(FORM));
    for (const std::size_t other : others) {
        slots[other] = slot;
    }
    Security_Facts facts;
    facts.current.key = slots[0];
    facts.previous.key = slots[1];
    facts.cache.assign(slots.begin() + 2, slots.end());
    return security(facts);
}

Bytes full_segment() {
    return segment_without({}, {});
}

Fake_Daemon_Plan plan_of(const Bytes &security_segment) {
    Fake_Daemon_Plan plan;
    plan.segments.security.content = security_segment;
    return plan;
}

struct Records {
    Hb_Rc read() { return hb_get_security_infomation(&current, &previous, &cache); }
    Hb_Rc release() { return hb_free_security_info_keys(&current, &previous, &cache); }
    const sec_key_desc &key(std::size_t number) const {
        return number == 0 ? current.key : number == 1 ? previous.key : cache.keyCache[number - 2];
    }

    Hb_Security_Status current;
    Hb_Security_Status previous;
    Hb_Key_Cache cache;
};

bool lies_in_the_segment(const void *memory) {
    const auto *start = reinterpret_cast<const char *>(security_info);
    const auto *at = static_cast<const char *>(memory);
    return at >= start && at < start + 3168;
}

ISOLATED_TEST(KeyMemory, IsZeroWhenItIsGivenBack) {
    Fake_Daemon daemon(plan_of(full_segment()));
    open_library();
    const Wrapped_Calls calls;
    Records records;
    ASSERT_EQ(Hb_Success, records.read());
    EXPECT_TRUE(same_bytes(KEY, bytes_of(records.key(11).value, 16)));
    EXPECT_EQ(Hb_Success, records.release());
    EXPECT_EQ(std::vector<std::size_t>(12, 16), calls.allocated());
    EXPECT_EQ(std::vector<Bytes>(12, Bytes().zeros(16)), calls.freed());
}

// Returns the kernel's flags of the mapping at this address, such as "rd sh mr mw me ms dd".
std::string mapping_flags(const void *address) {
    std::ifstream maps("/proc/self/smaps");
    const auto wanted = reinterpret_cast<uintptr_t>(address);
    bool here = false;
    for (std::string line; std::getline(maps, line);) {
        uintptr_t from = 0;
        uintptr_t to = 0;
        char dash = 0;
        std::istringstream words(line);
        if (words >> std::hex >> from >> dash >> to && dash == '-') {
            here = from <= wanted && wanted < to;
        } else if (here && line.starts_with("VmFlags:")) {
            return line;
        }
    }
    return "";
}

ISOLATED_TEST(KeyMemory, OfTheSegmentIsLeftOutOfCoreFiles) {
    Fake_Daemon daemon(plan_of(full_segment()));
    open_library();
    EXPECT_NE(std::string::npos, mapping_flags(security_info).find(" dd")) << mapping_flags(security_info);
    EXPECT_EQ(std::string::npos, mapping_flags(shared_route_info).find(" dd")) << "routes are no secret";
}

ISOLATED_TEST(KeyMemory, OfTheKeysBeforeABadOneIsGivenBackByTheCallerAlone) {
    Fake_Daemon daemon(plan_of(segment_without({5}, key_slot(36, Bytes(FORM).put(30, {0})))));
    open_library();
    const Wrapped_Calls calls;
    Records records;
    EXPECT_EQ(Hb_Failure, records.read());
    EXPECT_EQ(5U, calls.allocated().size());
    EXPECT_TRUE(calls.freed().empty());
    EXPECT_EQ(Hb_Success, records.release());
    EXPECT_EQ(std::vector<Bytes>(5, Bytes().zeros(16)), calls.freed());
}

ISOLATED_TEST(KeyMemory, RunningOutOfItIsAFailureThatLeavesNoKey) {
    Fake_Daemon daemon(plan_of(full_segment()));
    open_library();
    Wrapped_Calls calls;
    calls.fail_malloc();
    set_hb_errno(4711);
    Records records;
    EXPECT_EQ(Hb_Failure, records.read());
    EXPECT_EQ(4711, hb_get_errno());
    EXPECT_EQ(nullptr, records.current.key.value);
    EXPECT_EQ(Hb_Success, records.release());
    EXPECT_TRUE(calls.freed().empty());
}

ISOLATED_TEST(MarshalledCopy, IsOfItsOwnAndWipedAfterEachKey) {
    Fake_Daemon daemon(plan_of(full_segment()));
    open_library();
    const Watched_Calls calls;
    Records records;
    ASSERT_EQ(Hb_Success, records.read());
    ASSERT_EQ(12U, calls.unmarshallings.size());
    for (const auto &call : calls.unmarshallings) {
        EXPECT_EQ(36, call.length);
        EXPECT_FALSE(lies_in_the_segment(call.form));
        EXPECT_TRUE(call.wiped);
    }
    EXPECT_EQ(Hb_Success, records.release());
}

ISOLATED_TEST(MarshalledCopy, IsWipedAfterAFailureToo) {
    Fake_Daemon daemon(plan_of(segment_without({2}, key_slot(Bytes().fill(256, 0x51)))));
    open_library();
    const Watched_Calls calls;
    Records records;
    EXPECT_EQ(Hb_Failure, records.read());
    ASSERT_EQ(3U, calls.unmarshallings.size());
    EXPECT_EQ(256, calls.unmarshallings[2].length);
    EXPECT_TRUE(calls.unmarshallings[2].wiped);
    EXPECT_EQ(Hb_Success, records.release());
}

ISOLATED_TEST(MarshalledCopy, DoesNotChangeWithTheSegment) {
    Fake_Daemon daemon(plan_of(full_segment()));
    open_library();
    Watched_Calls calls;
    // The daemon rewrites the current key's slot after the library has begun to read it.
    char *slot = daemon.segments().security() + 304;
    calls.unmarshal = [slot](int number, sec_buffer_desc *marshalled, sec_key_desc *key) {
        if (number == 0) {
            std::memset(slot, 0xFF, 260);
        }
        return real_unmarshal(marshalled, key);
    };
    Records records;
    EXPECT_EQ(Hb_Success, records.read());
    ASSERT_EQ(16, records.current.key.length);
    EXPECT_TRUE(same_bytes(KEY, bytes_of(records.current.key.value, 16)));
    EXPECT_EQ(Hb_Success, records.release());
}

ISOLATED_TEST(SecurityLibrary, IsNotAskedAboutSlotsThatAreEmptyOrOfNoPossibleLength) {
    Fake_Daemon daemon(plan_of(segment_without({0, 3, 11}, empty_slot())));
    open_library();
    {
        const Watched_Calls calls;
        Records records;
        EXPECT_EQ(Hb_Success, records.read());
        EXPECT_EQ(9U, calls.unmarshallings.size());
        EXPECT_EQ(Hb_Success, records.release());
        EXPECT_EQ(9U, calls.released.size());
    }
    for (const int64_t length : {-1, 257}) {
        const Bytes segment = segment_without({1}, key_slot(length, FORM));
        std::memcpy(daemon.segments().security(), segment.data(), segment.size());
        const Watched_Calls calls;
        Records records;
        EXPECT_EQ(Hb_Failure, records.read());
        EXPECT_EQ(1U, calls.unmarshallings.size());
        EXPECT_EQ(Hb_Success, records.release());
        EXPECT_EQ(1U, calls.released.size());
    }
}

ISOLATED_TEST(SecurityLibrary, IsHandedAHalfMadeKeyOnceWhichIsForgottenThen) {
    Fake_Daemon daemon(plan_of(full_segment()));
    open_library();
    for (int bad = 0; bad < 12; ++bad) {
        SCOPED_TRACE(bad);
        int half_made = 0;
        Watched_Calls calls;
        calls.release_for_real = false;
        calls.unmarshal = [&half_made, bad](int number, sec_buffer_desc *, sec_key_desc *key) {
            *key = {1, 1, 16, &half_made, &half_made};
            return number == bad ? 1 : 0; // any result other than 0 is a failure
        };
        Records records;
        EXPECT_EQ(Hb_Failure, records.read());
        ASSERT_EQ(1U, calls.released.size());
        EXPECT_EQ(16, calls.released[0].length);
        EXPECT_EQ(&half_made, calls.released[0].value);
        const sec_key_desc &failed = records.key(static_cast<std::size_t>(bad));
        EXPECT_EQ(0, failed.length);
        EXPECT_EQ(nullptr, failed.value);
        EXPECT_EQ(nullptr, failed.schedule);
        EXPECT_EQ(Hb_Success, records.release());
        EXPECT_EQ(1U + static_cast<unsigned>(bad), calls.released.size())
            << "those before it, and not it again";
    }
}

ISOLATED_TEST(SecurityLibrary, IsHandedEachKeyThatHasALengthAndBytes) {
    int bytes = 0;
    Records records = {};
    records.current.key = {1, 1, 16, &bytes, nullptr};
    records.previous.key = {1, 1, 0, &bytes, nullptr};        // no length
    records.cache.keyCache[0] = {1, 1, 16, nullptr, nullptr}; // no bytes
    records.cache.keyCache[4] = {0, 0, 1, &bytes, nullptr};
    records.cache.keyCache[9] = {1, 1, -1, &bytes, nullptr};
    records.cache.keyCacheCount = 0; // does not say which slots are used
    Watched_Calls calls;
    calls.release_for_real = false;
    EXPECT_EQ(Hb_Success, records.release());
    ASSERT_EQ(3U, calls.released.size());
    EXPECT_EQ(16, calls.released[0].length);
    EXPECT_EQ(1, calls.released[1].length);
    EXPECT_EQ(-1, calls.released[2].length);
    EXPECT_EQ(0, client_initialized);
}

} // namespace
} // namespace hb_test
