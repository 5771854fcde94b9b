// SPDX-License-Identifier: Apache-2.0
// The marshalled form, byte for byte. The checksums were computed independently of the library.
#include <cerrno>
#include <climits>

#include <gtest/gtest.h>

#include "tests/support/bytes.h"
#include "tests/unit/mss/owned_key.h"

namespace {

using hb_test::Bytes;
using hb_test::same_bytes;

const Bytes HMAC_SHA256_KEY = {0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17,
                               0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F};

const Bytes HMAC_SHA256_FORM = {
    0x51, 0x5A, 0x54, 0x4B, // "QZTK"
    0x01, 0x00, 0x00, 0x00, // version 1
    0x01, 0x00, 0x00, 0x00, // type 1
    0x10, 0x00, 0x00, 0x00, // 16 key bytes
    0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, 0x19,
    0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F, 0xED, 0xF4, 0xFB, 0x97, // checksum 0x97FBF4ED
};

const Bytes HMAC_SHA512_KEY = {0xE0, 0xE1, 0xE2, 0xE3, 0xE4, 0xE5, 0xE6, 0xE7, 0xE8, 0xE9, 0xEA,
                               0xEB, 0xEC, 0xED, 0xEE, 0xEF, 0xF0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5,
                               0xF6, 0xF7, 0xF8, 0xF9, 0xFA, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF};

const Bytes HMAC_SHA512_FORM =
    {
        0x51, 0x5A, 0x54, 0x4B, 0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x20,
        0x00, 0x00, 0x00, 0xE0, 0xE1, 0xE2, 0xE3, 0xE4, 0xE5, 0xE6, 0xE7, 0xE8, 0xE9,
        0xEA, 0xEB, 0xEC, 0xED, 0xEE, 0xEF, 0xF0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6,
        0xF7, 0xF8, 0xF9, 0xFA, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF, 0x6E, 0xAD, 0x23, 0xCE, // checksum 0xCE23AD6E
};

const Bytes AES_CMAC_KEY = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9, 0xAA, 0xAB,
                            0xAC, 0xAD, 0xAE, 0xAF, 0xB0, 0xB1, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6, 0xB7};

const Bytes AES_CMAC_FORM = {
    0x51, 0x5A, 0x54, 0x4B, 0x01, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x18, 0x00, 0x00,
    0x00, 0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9, 0xAA, 0xAB, 0xAC, 0xAD,
    0xAE, 0xAF, 0xB0, 0xB1, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6, 0xB7, 0x03, 0xDB, 0x24, 0x4B, // checksum 0x4B24DB03
};

struct Sample {
    uint32_t type;
    Bytes key;
    Bytes form;
};

const Sample SAMPLES[] = {
    {1, HMAC_SHA256_KEY, HMAC_SHA256_FORM},
    {2, HMAC_SHA512_KEY, HMAC_SHA512_FORM},
    {3, AES_CMAC_KEY, AES_CMAC_FORM},
};

// Forms of keys whose bytes are all 0x5A, with their checksums.
struct Plain_Key {
    uint32_t type;
    int32_t length;
    uint32_t checksum;
};

const Plain_Key ALLOWED_KEYS[] = {
    {1, 16, 0x0BE1EFDE}, {1, 236, 0x5AF13601}, {2, 16, 0x53FF46F6}, {2, 236, 0x3281FA45},
    {3, 16, 0xD2DA23D1}, {3, 24, 0x8E7B9DEA},  {3, 32, 0x8C88FFDE},
};

Bytes form_of(const Plain_Key &key) {
    Bytes form = {0x51, 0x5A, 0x54, 0x4B, 1, 0, 0, 0};
    form.i32(key.type).i32(key.length).fill(static_cast<std::size_t>(key.length), 0x5A).i32(key.checksum);
    return form;
}

sec_key_desc descriptor(uint32_t type, int32_t version, int32_t length, const Bytes &key) {
    return {type, version, length, const_cast<unsigned char *>(key.data()), nullptr};
}

TEST(MarshalledForm, IsMagicVersionTypeLengthKeyAndChecksum) {
    for (const Sample &sample : SAMPLES) {
        SCOPED_TRACE(sample.type);
        const sec_key_desc key =
            descriptor(sample.type, 1, static_cast<int32_t>(sample.key.size()), sample.key);
        Bytes room;
        room.fill(256, 0xEE);
        sec_buffer_desc marshalled = {256, room.data()};
        ASSERT_EQ(sec_marshal_typed_key(&key, &marshalled), 0);
        EXPECT_EQ(marshalled.length, static_cast<int32_t>(sample.form.size()));
        EXPECT_EQ(marshalled.value, room.data());
        EXPECT_TRUE(same_bytes(Bytes(sample.form).fill(256 - sample.form.size(), 0xEE), room));
    }
}

TEST(MarshalledForm, IsTheSameFormWhenTheRoomIsExactlyEnough) {
    const sec_key_desc key = descriptor(1, 1, 16, HMAC_SHA256_KEY);
    Bytes room;
    room.zeros(36);
    sec_buffer_desc marshalled = {36, room.data()};
    ASSERT_EQ(sec_marshal_typed_key(&key, &marshalled), 0);
    EXPECT_EQ(marshalled.length, 36);
    EXPECT_TRUE(same_bytes(HMAC_SHA256_FORM, room));
}

TEST(MarshalledForm, TheLargestKeyTakes256Bytes) {
    Bytes bytes;
    bytes.fill(236, 0x5A);
    const sec_key_desc key = descriptor(1, 1, 236, bytes);
    Bytes room;
    room.zeros(256);
    sec_buffer_desc marshalled = {256, room.data()};
    ASSERT_EQ(sec_marshal_typed_key(&key, &marshalled), 0);
    EXPECT_EQ(marshalled.length, 256);
    EXPECT_TRUE(same_bytes(form_of({1, 236, 0x5AF13601}), room));
}

TEST(MarshalledForm, UnmarshalsToItsTypeVersionAndKeyBytes) {
    for (const Sample &sample : SAMPLES) {
        SCOPED_TRACE(sample.type);
        Owned_Key key;
        errno = 4711;
        ASSERT_EQ(key.unmarshal(sample.form), 0);
        EXPECT_EQ(errno, 4711);
        EXPECT_EQ(key.type, sample.type);
        EXPECT_EQ(key.version, 1);
        EXPECT_EQ(key.length, static_cast<int32_t>(sample.key.size()));
        EXPECT_EQ(key.schedule, nullptr);
        EXPECT_TRUE(same_bytes(sample.key, key.bytes()));
    }
}

TEST(MarshalledForm, UnmarshalsTheSmallestAndTheLargestKeyOfEveryType) {
    for (const Plain_Key &plain : ALLOWED_KEYS) {
        SCOPED_TRACE(testing::Message() << "type " << plain.type << " length " << plain.length);
        Owned_Key key;
        ASSERT_EQ(key.unmarshal(form_of(plain)), 0);
        EXPECT_EQ(key.type, plain.type);
        EXPECT_EQ(key.length, plain.length);
        EXPECT_TRUE(same_bytes(Bytes().fill(static_cast<std::size_t>(plain.length), 0x5A), key.bytes()));
    }
}

TEST(MarshalledForm, IsLeftAloneAndNotPointedAtByTheKeyBuiltFromIt) {
    Bytes form = HMAC_SHA256_FORM;
    Owned_Key key;
    ASSERT_EQ(key.unmarshal(36, form.data()), 0);
    EXPECT_TRUE(same_bytes(HMAC_SHA256_FORM, form));
    sec_wipe(form.data(), form.size());
    EXPECT_TRUE(same_bytes(HMAC_SHA256_KEY, key.bytes()));
}

TEST(MarshalledForm, NeedsNoAlignment) {
    Bytes form = Bytes{0xFF}.add(HMAC_SHA256_FORM);
    Owned_Key key;
    ASSERT_EQ(key.unmarshal(36, form.data() + 1), 0);
    Bytes room;
    room.zeros(37);
    sec_buffer_desc marshalled = {36, room.data() + 1};
    ASSERT_EQ(sec_marshal_typed_key(&key, &marshalled), 0);
    EXPECT_TRUE(same_bytes(HMAC_SHA256_FORM, room.from(1)));
}

TEST(MarshalTypedKey, RefusesRoomThatIsTooSmallAndLeavesItAlone) {
    const sec_key_desc key = descriptor(1, 1, 16, HMAC_SHA256_KEY);
    for (const int32_t length : {35, 20, 16, 1, 0, -1, -36, INT_MIN}) {
        SCOPED_TRACE(length);
        Bytes room;
        room.fill(36, 0xEE);
        sec_buffer_desc marshalled = {length, room.data()};
        errno = 4711;
        EXPECT_EQ(sec_marshal_typed_key(&key, &marshalled), -1);
        EXPECT_EQ(errno, 4711);
        EXPECT_EQ(marshalled.length, length);
        EXPECT_TRUE(same_bytes(Bytes().fill(36, 0xEE), room));
    }
}

TEST(MarshalTypedKey, RefusesWhatIsNoKeyOfAKnownKind) {
    Bytes bytes;
    bytes.fill(237, 0x5A);
    const sec_key_desc refused[] = {
        {},
        descriptor(0, 1, 16, bytes),
        descriptor(4, 1, 16, bytes),
        descriptor(0xFFFFFFFF, 1, 16, bytes),
        descriptor(1, 0, 16, bytes),
        descriptor(1, 2, 16, bytes),
        descriptor(1, -1, 16, bytes),
        descriptor(1, 1, 0, bytes),
        descriptor(1, 1, 15, bytes),
        descriptor(1, 1, 237, bytes),
        descriptor(1, 1, -1, bytes),
        descriptor(1, 1, -16, bytes),
        descriptor(1, 1, INT_MIN, bytes),
        descriptor(1, 1, INT_MAX, bytes),
        descriptor(2, 1, 15, bytes),
        descriptor(2, 1, 237, bytes),
        descriptor(3, 1, 15, bytes),
        descriptor(3, 1, 17, bytes),
        descriptor(3, 1, 23, bytes),
        descriptor(3, 1, 25, bytes),
        descriptor(3, 1, 33, bytes),
        {1, 1, 16, nullptr, nullptr},
    };
    for (const sec_key_desc &key : refused) {
        SCOPED_TRACE(testing::Message()
                     << "type " << key.type << " version " << key.version << " length " << key.length);
        Bytes room;
        room.fill(300, 0xEE);
        sec_buffer_desc marshalled = {300, room.data()};
        EXPECT_EQ(sec_marshal_typed_key(&key, &marshalled), -1);
        EXPECT_EQ(marshalled.length, 300);
        EXPECT_TRUE(same_bytes(Bytes().fill(300, 0xEE), room));
    }
}

TEST(MarshalTypedKey, RefusesNullPointers) {
    const sec_key_desc key = descriptor(1, 1, 16, HMAC_SHA256_KEY);
    Bytes room;
    room.zeros(256);
    sec_buffer_desc marshalled = {256, room.data()};
    sec_buffer_desc without_room = {256, nullptr};
    EXPECT_EQ(sec_marshal_typed_key(nullptr, &marshalled), -1);
    EXPECT_EQ(sec_marshal_typed_key(&key, nullptr), -1);
    EXPECT_EQ(sec_marshal_typed_key(&key, &without_room), -1);
}

} // namespace
