// SPDX-License-Identifier: Apache-2.0
// Forms that are not valid keys. Where only one field is wrong, the checksum is correct for the form. These
// checksums were computed independently of the library.
#include <cerrno>
#include <climits>

#include <gtest/gtest.h>

#include "tests/support/bytes.h"
#include "tests/unit/mss/owned_key.h"

namespace {

using hb_test::Bytes;

const Bytes GOOD_KEY = {0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17,
                        0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F};

const Bytes GOOD_MAGIC = {0x51, 0x5A, 0x54, 0x4B};

Bytes form(const Bytes &magic, int64_t version, int64_t type, int64_t length, const Bytes &key,
           int64_t checksum) {
    return Bytes(magic).i32(version).i32(type).i32(length).add(key).i32(checksum);
}

Bytes good_form() {
    return form(GOOD_MAGIC, 1, 1, 16, GOOD_KEY, 0x97FBF4ED);
}

void expect_refused(const Bytes &bytes) {
    Owned_Key key;
    errno = 4711;
    EXPECT_EQ(key.unmarshal(bytes), -1);
    EXPECT_EQ(errno, 4711);
    EXPECT_TRUE(key.is_zeroed());
}

TEST(RefusedForm, TheFormThatTheOthersDifferFromIsAccepted) {
    Owned_Key key;
    EXPECT_EQ(key.unmarshal(good_form()), 0);
}

TEST(RefusedForm, CutShortAtEveryLength) {
    const Bytes good = good_form();
    for (std::size_t length = 0; length < good.size(); ++length) {
        SCOPED_TRACE(length);
        expect_refused(good.first(length));
    }
}

TEST(RefusedForm, WithBytesBehindItsEnd) {
    for (std::size_t more = 1; more <= 300; ++more) {
        SCOPED_TRACE(more);
        expect_refused(good_form().zeros(more));
    }
    expect_refused(good_form().add(good_form()));
}

TEST(RefusedForm, WithAnySingleBitTurned) {
    const Bytes good = good_form();
    for (std::size_t bit = 0; bit < 8 * good.size(); ++bit) {
        SCOPED_TRACE(bit);
        Bytes damaged = good;
        damaged[bit / 8] ^= static_cast<unsigned char>(1U << (bit % 8));
        expect_refused(damaged);
    }
}

TEST(RefusedForm, WithAnySingleByteReplaced) {
    const Bytes good = good_form();
    for (std::size_t at = 0; at < good.size(); ++at) {
        for (unsigned char difference = 255; difference != 0; --difference) {
            SCOPED_TRACE(testing::Message() << at << " differing by " << int{difference});
            Bytes damaged = good;
            damaged[at] ^= difference;
            expect_refused(damaged);
        }
    }
}

TEST(RefusedForm, WithTwoKeyBytesInEachOthersPlace) {
    for (std::size_t at = 16; at < 31; ++at) {
        SCOPED_TRACE(at);
        Bytes damaged = good_form();
        std::swap(damaged[at], damaged[at + 1]);
        expect_refused(damaged);
    }
}

TEST(RefusedForm, OfAnotherMagic) {
    expect_refused(form({'q', 'Z', 'T', 'K'}, 1, 1, 16, GOOD_KEY, 0xAD49293F));
    expect_refused(form({'Q', '0', 'T', 'K'}, 1, 1, 16, GOOD_KEY, 0xF59F4764));
    expect_refused(form({'Q', 'Z', 't', 'K'}, 1, 1, 16, GOOD_KEY, 0x76238CE9));
    expect_refused(form({'Q', 'Z', 'T', ' '}, 1, 1, 16, GOOD_KEY, 0x3C7E78BF));
    expect_refused(form({'K', 'T', 'Z', 'Q'}, 1, 1, 16, GOOD_KEY, 0x5F3339F5));
    expect_refused(form({0, 0, 0, 0}, 1, 1, 16, GOOD_KEY, 0x6140D080));
}

TEST(RefusedForm, OfAnotherVersion) {
    const struct {
        int64_t version;
        int64_t checksum;
    } cases[] = {{0, 0x964E09F0},          {2, 0x9525F3CA},     {-1, 0xE9C181E6},
                 {0x01000000, 0x33C599FE}, {0x101, 0xF977EFAC}, {0x80000000, 0x3B643843}};
    for (const auto &wrong : cases) {
        SCOPED_TRACE(wrong.version);
        expect_refused(form(GOOD_MAGIC, wrong.version, 1, 16, GOOD_KEY, wrong.checksum));
    }
}

TEST(RefusedForm, OfAnUnknownType) {
    const struct {
        int64_t type;
        int64_t checksum;
    } cases[] = {{0, 0x16DE91CA},
                 {4, 0x7FD80F95},
                 {0xFFFFFFFF, 0x4AE0A415},
                 {0x01000000, 0x89041254},
                 {0x101, 0x0C881E39}};
    for (const auto &wrong : cases) {
        SCOPED_TRACE(wrong.type);
        expect_refused(form(GOOD_MAGIC, 1, wrong.type, 16, GOOD_KEY, wrong.checksum));
    }
}

TEST(RefusedForm, WhoseLengthIsNotThatOfItsKey) {
    const struct {
        int64_t length;
        int64_t checksum;
    } cases[] = {{0, 0x773D5FC8},     {1, 0x125A648E},          {15, 0x0BA22FE9},
                 {17, 0xF29CCFAB},    {20, 0xD9161FB4},         {236, 0xE0FED212},
                 {0x110, 0x401974B5}, {0x10000000, 0x606CC6B5}, {INT_MAX, 0x3D9BF052}};
    for (const auto &wrong : cases) {
        SCOPED_TRACE(wrong.length);
        expect_refused(form(GOOD_MAGIC, 1, 1, wrong.length, GOOD_KEY, wrong.checksum));
    }
}

TEST(RefusedForm, OfANegativeLength) {
    const struct {
        int64_t length;
        int64_t checksum;
    } cases[] = {{-1, 0x87173BBA}, {-16, 0xFB884B9B}, {-20, 0xC878DD55}, {INT_MIN, 0xCDB19420}};
    for (const auto &wrong : cases) {
        SCOPED_TRACE(wrong.length);
        expect_refused(form(GOOD_MAGIC, 1, 1, wrong.length, GOOD_KEY, wrong.checksum));
    }
}

TEST(RefusedForm, OfALengthThatItsTypeDoesNotHave) {
    const struct {
        int64_t type;
        int64_t length;
        int64_t checksum;
    } cases[] = {{1, 0, 0x50F0ADFB},   {1, 15, 0x65872277}, {1, 237, 0x50509D8A}, {2, 15, 0x13621B4A},
                 {2, 237, 0x218968CF}, {3, 15, 0x8811F19E}, {3, 17, 0x3760EC98},  {3, 20, 0xF1DAB0FF},
                 {3, 23, 0xDA4FF3ED},  {3, 25, 0x7AEAFEB8}, {3, 31, 0x4DEB5D41},  {3, 33, 0xB8AB3754},
                 {3, 64, 0x311A3916},  {3, 236, 0x1551BE79}};
    for (const auto &wrong : cases) {
        SCOPED_TRACE(testing::Message() << "type " << wrong.type << " length " << wrong.length);
        const Bytes key = Bytes().fill(static_cast<std::size_t>(wrong.length), 0x5A);
        expect_refused(form(GOOD_MAGIC, 1, wrong.type, wrong.length, key, wrong.checksum));
    }
}

TEST(RefusedForm, OfAnotherChecksum) {
    expect_refused(form(GOOD_MAGIC, 1, 1, 16, GOOD_KEY, 0));
    expect_refused(form(GOOD_MAGIC, 1, 1, 16, GOOD_KEY, 0xFFFFFFFF));
    expect_refused(form(GOOD_MAGIC, 1, 1, 16, GOOD_KEY, 0xEDF4FB97)); // bytes reversed
    expect_refused(form(GOOD_MAGIC, 1, 1, 16, GOOD_KEY, 0x68040B12)); // all bits inverted
    expect_refused(form(GOOD_MAGIC, 1, 1, 16, GOOD_KEY, 0xF83AF2C4)); // of everything but the magic
    expect_refused(form(GOOD_MAGIC, 1, 1, 16, GOOD_KEY, 0xF4A7FD67)); // of the key only
}

TEST(RefusedForm, OfNothingButEqualBytes) {
    for (const unsigned char byte : Bytes{0x00, 0x01, 0x51, 0x7F, 0x80, 0xFF}) {
        for (std::size_t length = 0; length <= 300; ++length) {
            SCOPED_TRACE(testing::Message() << length << " bytes " << int{byte});
            expect_refused(Bytes().fill(length, byte));
        }
    }
}

TEST(UnmarshalTypedKey, RefusesADescriptorOfANegativeLength) {
    Bytes bytes = good_form();
    for (const int32_t length : {-1, -36, -256, INT_MIN}) {
        SCOPED_TRACE(length);
        Owned_Key key;
        EXPECT_EQ(key.unmarshal(length, bytes.data()), -1);
        EXPECT_TRUE(key.is_zeroed());
    }
}

TEST(UnmarshalTypedKey, RefusesADescriptorThatClaimsMoreThanAnyFormWithoutReadingOn) {
    Bytes bytes = good_form();
    for (const int32_t length : {257, 0x10000, INT_MAX}) {
        SCOPED_TRACE(length);
        Owned_Key key;
        EXPECT_EQ(key.unmarshal(length, bytes.data()), -1);
        EXPECT_TRUE(key.is_zeroed());
    }
}

TEST(UnmarshalTypedKey, RefusesNullPointers) {
    Bytes bytes = good_form();
    sec_buffer_desc marshalled = {36, bytes.data()};
    EXPECT_EQ(sec_unmarshal_typed_key(&marshalled, nullptr), -1);
    EXPECT_EQ(sec_unmarshal_typed_key(nullptr, nullptr), -1);

    Owned_Key key;
    EXPECT_EQ(sec_unmarshal_typed_key(nullptr, &key), -1);
    EXPECT_TRUE(key.is_zeroed());

    Owned_Key another;
    EXPECT_EQ(another.unmarshal(36, nullptr), -1);
    EXPECT_TRUE(another.is_zeroed());
}

TEST(UnmarshalTypedKey, LeavesAfterARefusalWhatMayBeReleased) {
    sec_key_desc key = {1, 1, 16, nullptr, nullptr};
    Bytes bytes = good_form().first(35);
    sec_buffer_desc marshalled = {35, bytes.data()};
    ASSERT_EQ(sec_unmarshal_typed_key(&marshalled, &key), -1);
    errno = 4711;
    sec_release_typed_key(&key);
    sec_release_typed_key(&key);
    EXPECT_EQ(errno, 4711);
}

} // namespace
