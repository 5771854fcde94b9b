// SPDX-License-Identifier: Apache-2.0
// Key bytes between the library and the system: they are wiped before they are freed, and complete or absent.
#include <cerrno>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/bytes.h"
#include "tests/unit/mss/owned_key.h"
#include "tests/unit/mss/wrapped_calls.h"

namespace {

using hb_test::Bytes;
using hb_test::same_bytes;
using testing::ElementsAre;
using testing::IsEmpty;

const Bytes FORM = {0x51, 0x5A, 0x54, 0x4B, 1,    0,    0,    0,    1,    0,    0,    0,
                    16,   0,    0,    0,    0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17,
                    0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F, 0xED, 0xF4, 0xFB, 0x97};

Bytes zeros(std::size_t count) {
    return Bytes().zeros(count);
}

int unmarshal(const Bytes &from, sec_key_desc &key) {
    sec_buffer_desc marshalled = {static_cast<int32_t>(from.size()), const_cast<unsigned char *>(from.data())};
    return sec_unmarshal_typed_key(&marshalled, &key);
}

TEST(KeyBytes, OfAnUnmarshalledKeyAreZeroWhenFreed) {
    const Wrapped_Calls calls;
    sec_key_desc key;
    ASSERT_EQ(unmarshal(FORM, key), 0);
    ASSERT_EQ(hb_test::bytes_of(key.value, 16), FORM.part(16, 16));
    errno = 4711;
    sec_release_typed_key(&key);
    EXPECT_EQ(errno, 4711);
    EXPECT_THAT(calls.allocated(), ElementsAre(16U));
    EXPECT_THAT(calls.freed(), ElementsAre(zeros(16)));
}

TEST(KeyBytes, OfAGeneratedKeyAreZeroWhenFreed) {
    Wrapped_Calls calls;
    calls.answer_getrandom({{0, 236, 0x77}});
    sec_key_desc key;
    ASSERT_EQ(sec_generate_typed_key(2, 236, &key), 0);
    ASSERT_EQ(hb_test::bytes_of(key.value, 236), Bytes().fill(236, 0x77));
    sec_release_typed_key(&key);
    EXPECT_THAT(calls.allocated(), ElementsAre(236U));
    EXPECT_THAT(calls.freed(), ElementsAre(zeros(236)));
}

TEST(KeyBytes, OfAKeyThatCouldNotBeFinishedAreZeroWhenFreed) {
    Wrapped_Calls calls;
    calls.answer_getrandom({{0, 20, 0x77}, {ENOSYS, 0, 0}});
    Owned_Key key;
    errno = 4711;
    EXPECT_EQ(key.generate(1, 32), -1);
    EXPECT_EQ(errno, 4711);
    EXPECT_TRUE(key.is_zeroed());
    EXPECT_THAT(calls.random_asked(), ElementsAre(32U, 12U));
    EXPECT_THAT(calls.allocated(), ElementsAre(32U));
    EXPECT_THAT(calls.freed(), ElementsAre(zeros(32)));
}

TEST(KeyBytes, AreNeverAllocatedForARefusedForm) {
    const Wrapped_Calls calls;
    for (std::size_t length = 0; length < FORM.size(); ++length) {
        sec_key_desc key;
        EXPECT_EQ(unmarshal(FORM.first(length), key), -1);
    }
    for (std::size_t at = 0; at < FORM.size(); ++at) {
        Bytes damaged = FORM;
        damaged[at] ^= 1;
        sec_key_desc key;
        EXPECT_EQ(unmarshal(damaged, key), -1);
    }
    EXPECT_THAT(calls.allocated(), IsEmpty());
}

TEST(KeyBytes, AreNotAllocatedToMarshalAKey) {
    sec_key_desc key;
    ASSERT_EQ(unmarshal(FORM, key), 0);
    Bytes room;
    room.zeros(256);
    sec_buffer_desc marshalled = {256, room.data()};
    {
        const Wrapped_Calls calls;
        EXPECT_EQ(sec_marshal_typed_key(&key, &marshalled), 0);
        EXPECT_THAT(calls.allocated(), IsEmpty());
    }
    EXPECT_TRUE(same_bytes(FORM, room.first(36)));
    sec_release_typed_key(&key);
}

TEST(RandomSource, IsAskedAgainAfterASignalAndForWhatIsStillMissing) {
    Wrapped_Calls calls;
    calls.answer_getrandom({{EINTR, 0, 0}, {0, 5, 0x11}, {EINTR, 0, 0}, {0, 1, 0x22}, {0, 10, 0x33}});
    Owned_Key key;
    errno = 4711;
    ASSERT_EQ(key.generate(3, 16), 0);
    EXPECT_EQ(errno, 4711);
    EXPECT_THAT(calls.random_asked(), ElementsAre(16U, 16U, 11U, 11U, 10U));
    EXPECT_TRUE(same_bytes(Bytes().fill(5, 0x11).fill(1, 0x22).fill(10, 0x33), key.bytes()));
}

TEST(RandomSource, ThatGivesNothingIsAFailure) {
    Wrapped_Calls calls;
    calls.answer_getrandom({{0, 0, 0}});
    Owned_Key key;
    EXPECT_EQ(key.generate(1, 16), -1);
    EXPECT_TRUE(key.is_zeroed());
    EXPECT_THAT(calls.random_asked(), ElementsAre(16U));
    EXPECT_EQ(calls.freed().size(), 1U);
}

TEST(RandomSource, IsAskedForEveryByteOfTheKeyAtOnce) {
    const Wrapped_Calls calls;
    Owned_Key key;
    ASSERT_EQ(key.generate(1, 236), 0);
    EXPECT_THAT(calls.random_asked(), ElementsAre(236U));
}

TEST(ShortageOfMemory, LeavesNoKeyAndErrnoAsItWas) {
    Wrapped_Calls calls;
    calls.fail_malloc();
    Owned_Key generated;
    errno = 4711;
    EXPECT_EQ(generated.generate(1, 32), -1);
    EXPECT_EQ(errno, 4711);
    EXPECT_TRUE(generated.is_zeroed());

    Owned_Key unmarshalled;
    EXPECT_EQ(unmarshalled.unmarshal(FORM), -1);
    EXPECT_EQ(errno, 4711);
    EXPECT_TRUE(unmarshalled.is_zeroed());
    EXPECT_THAT(calls.random_asked(), IsEmpty());
}

} // namespace
